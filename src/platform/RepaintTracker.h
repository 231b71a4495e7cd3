// What a window has repainted since it was last asked, in the window's
// device pixels: the regions of the Paint events its widgets receive, the
// old and new places of widgets that moved and the viewports of scroll
// areas that scrolled (both are moved in the backing store without a paint
// of what moved). A change of the window's size or device pixel ratio, its
// showing, or a call to invalidate() makes the next region the whole
// window. GUI thread only.
#pragma once

#include <QObject>
#include <QPointer>
#include <QRegion>
#include <QSet>
#include <QSize>
#include <QWidget>

#include <vector>

class QAbstractScrollArea;

namespace tessivo {

class RepaintTracker : public QObject
{
    Q_OBJECT
public:
    explicit RepaintTracker(QObject *parent = nullptr);
    ~RepaintTracker() override;

    /// Follows `window` (nullptr: none), starting with everything repainted.
    void track(QWidget *window);
    QWidget *window() const { return m_window; }

    /// The whole window counts as repainted.
    void invalidate() { m_everything = true; }
    /// `region` (window device pixels) counts as repainted.
    void add(const QRegion &region) { m_region += region; }

    /// The region repainted since the last call, clipped to `frame` and
    /// widened to even coordinates (whole 2×2 blocks of pixels, as 4:2:0
    /// frames are made of); all of `frame` after an invalidation.
    QRegion take(const QRect &frame);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    /// `local` (logical coordinates of `widget`) as window device pixels.
    void addLocal(const QWidget *widget, const QRegion &local);
    void follow(QAbstractScrollArea *area);
    void unfollowAll();

    QPointer<QWidget> m_window;
    QRegion m_region;
    bool m_everything = true;
    QSize m_lastSize;
    qreal m_lastRatio = 0;
    QSet<const QObject *> m_followed;
    std::vector<QMetaObject::Connection> m_connections;
};

} // namespace tessivo
