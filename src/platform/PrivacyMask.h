// Keeps what the host marks private out of every image the kit takes of its
// windows. Private by default: QLineEdits whose echo mode is Password or
// PasswordEchoOnEdit, and Qt Quick TextInputs (TextFields) with a password
// echo mode inside a QQuickWidget. Private on request: any widget or item
// whose `tessivoPrivate` property is true (a dynamic property, so that .ui
// files and QML can set it), with everything inside it, and a whole window.
// The kit's own presented screens are never masked.
//
// The list of candidate widgets is kept up to date from an application event
// filter (first polish, property changes), so that finding the private areas
// of a window costs a few rectangle operations per candidate, not a walk of
// the widget tree.
#pragma once

#include "tessivo_export.h"

#include <QColor>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QRegion>
#include <QWidget>

class QImage;
class QWindow;

namespace tessivo {

class TESSIVO_EXPORT PrivacyMask : public QObject
{
    Q_OBJECT
public:
    /// The property that marks a widget, an item or a window private.
    static constexpr const char *kPropertyName = "tessivoPrivate";

    /// The process's mask, made on first use on the GUI thread.
    static PrivacyMask &shared();

    /// Marks `object` (a QWidget, a window or a QQuickItem) private, or
    /// clears the mark. Same as setting its `tessivoPrivate` property.
    static void setPrivate(QObject *object, bool isPrivate);
    static bool isMarkedPrivate(const QObject *object);

    /// The private areas of `window` in its device pixels: where private
    /// widgets and items are now, joined with where they were when the
    /// window last started painting (the pixels a copy of its backing store
    /// holds). The whole window when the window itself is private. GUI
    /// thread only.
    static QRegion region(const QWidget *window);
    /// Fills `area` (device pixels) of `image` with the solid mask colour.
    static void fill(QImage &image, const QRegion &area);
    /// fill(image, region(window)); returns whether anything was masked.
    static bool apply(QImage &image, const QWidget *window);
    static QColor fillColor() { return QColor(128, 128, 128); }
    /// The private items of a Qt Quick window, in its logical pixels
    /// (empty for other windows or when the kit is built without Qt Quick).
    static QRegion itemsRegion(QWindow *window);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit PrivacyMask(QObject *parent = nullptr);

    struct Candidate {
        QPointer<QWidget> widget;
        bool marked = false;
        bool lineEdit = false;
        bool quick = false;
    };

    void consider(QWidget *widget);
    void propertyChanged(QObject *object);
    /// The private areas of `window` as they are now, in logical pixels.
    QRegion currentRegion(const QWidget *window);
    /// Private items of a QQuickWidget, in its own coordinates (empty when
    /// the kit is built without Qt Quick or `widget` is not one).
    static QRegion quickItemsRegion(QWidget *widget);
    static bool isQuickWidget(const QWidget *widget);
    /// Keeps the items' region of the frame a QQuickWidget last rendered.
    void watchQuickWidget(QWidget *widget);
    static void quickPropertyChanged(QObject *object);

    QHash<QWidget *, Candidate> m_candidates;
    /// Per window asked for: the region when it last began to paint.
    QHash<const QWidget *, QRegion> m_painted;
    /// Per QQuickWidget: its private items when it last synchronised.
    QHash<const QWidget *, QRegion> m_quickSynced;
};

} // namespace tessivo
