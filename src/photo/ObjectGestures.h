// The gestures of the canvas's objects (text annotations and stickers):
// drag with the delete zone, pinch, rotation, and the bounce of a tapped
// sticker. The photo editor owns one and forwards its recogniser actions
// to it; the state it works on (deleteView, lastPanPoint, panGestureActive,
// annotationViews, the sticker picker) is the editor's.
//
// The object last added, dragged, pinched, turned or clicked is the
// selected one: Delete or Backspace (when the key is not typing into a
// text) removes it as a drop on the delete zone would. While the text or
// sticker tool is open an EditingHint names these gestures.
//
// Recognisers for an object are attached to the canvas viewport with the
// object as their item (GestureRecognizer::addTo(item, view)): they get the
// viewport's events only while the object is the topmost object under the
// pointer, so each object answers for itself as a view would.
#pragma once

#include "tessivo_export.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QTransform>

#include <functional>
#include <optional>

namespace tessivo {

class CanvasObjectItem;
class GestureRecognizer;
class PhotoEditorViewController;
class PanGestureRecognizer;
class StickerView;

class TESSIVO_EXPORT ObjectGestures : public QObject
{
    Q_OBJECT
public:
    static constexpr int kDeleteZoneMs = 300;
    static constexpr qreal kShrinkFactor = 0.25;
    static constexpr qreal kRestoreFactor = 4.0;
    static constexpr qreal kStickerMinimumWidth = 60;
    static constexpr qreal kStickerMaximumWidth = 400;
    static constexpr qreal kStickerMinimumScale = 0.15;
    static constexpr qreal kAnnotationFontLimit = 90;
    static constexpr qreal kBounceScale = 1.2;
    static constexpr int kBounceMs = 200;

    explicit ObjectGestures(PhotoEditorViewController *editor);

    /// Pan (one touch), pinch and rotation, with the editor as delegate.
    void attach(CanvasObjectItem *item);
    /// A tap that bounces the sticker (no delegate).
    void attachTap(StickerView *sticker);

    void pan(GestureRecognizer *recognizer);
    void pinch(GestureRecognizer *recognizer);
    void rotate(GestureRecognizer *recognizer);
    void tapSticker(GestureRecognizer *recognizer);
    void bounce(CanvasObjectItem *item);

    /// What Delete removes: the object last added or touched, if it is
    /// still on the canvas.
    CanvasObjectItem *selectedObject() const;
    /// Removes the selected object as a drop on the delete zone would (a
    /// smart letter goes back to the picker). False when none is selected.
    bool removeSelected();

    /// Animates an object's transform, and moves its centre by `shift`
    /// along the way (added to whatever else moves it meanwhile).
    static void animate(CanvasObjectItem *item, const QTransform &to, QPointF shift, int ms,
                        std::function<void()> finished = {});

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void select(CanvasObjectItem *item);
    CanvasObjectItem *objectAt(QPoint inViewport) const;
    void drag(CanvasObjectItem *item, PanGestureRecognizer *pan);
    void drop(CanvasObjectItem *item);
    QPointF inLayer(GestureRecognizer *recognizer) const;
    QRectF deleteZone() const;

    QPointer<PhotoEditorViewController> m_editor;
    QPointer<CanvasObjectItem> m_selected;
};

} // namespace tessivo
