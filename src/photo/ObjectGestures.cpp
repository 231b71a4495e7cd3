#include "photo/ObjectGestures.h"

#include "photo/AnnotateView.h"
#include "photo/EditingHint.h"
#include "photo/PhotoEditorViewController.h"
#include "photo/StickerView.h"
#include "photo/StickersControlsView.h"
#include "platform/Haptics.h"
#include "platform/PanGestureRecognizer.h"
#include "platform/PinchGestureRecognizer.h"
#include "platform/RotationGestureRecognizer.h"
#include "platform/TapGestureRecognizer.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QVariantAnimation>

namespace tessivo {

namespace {

QTransform interpolated(const QTransform &a, const QTransform &b, qreal t)
{
    auto mix = [t](qreal x, qreal y) { return x + (y - x) * t; };
    return QTransform(mix(a.m11(), b.m11()), mix(a.m12(), b.m12()), mix(a.m13(), b.m13()), mix(a.m21(), b.m21()),
                      mix(a.m22(), b.m22()), mix(a.m23(), b.m23()), mix(a.m31(), b.m31()), mix(a.m32(), b.m32()),
                      mix(a.m33(), b.m33()));
}

} // namespace

ObjectGestures::ObjectGestures(PhotoEditorViewController *editor) : QObject(editor), m_editor(editor)
{
    // Keys the canvas and its bars leave unused reach the editor.
    editor->installEventFilter(this);
    if (QGraphicsView *view = editor->canvasScrollView())
        view->viewport()->installEventFilter(this);
    new EditingHint(editor, {editor->annotateControlsView(), editor->stickersControlsView()});
}

CanvasObjectItem *ObjectGestures::selectedObject() const
{
    CanvasObjectItem *item = m_selected.data();
    return item && m_editor && item->parentItem() == m_editor->canvasImageView() ? item : nullptr;
}

void ObjectGestures::select(CanvasObjectItem *item)
{
    m_selected = item;
}

bool ObjectGestures::removeSelected()
{
    CanvasObjectItem *item = selectedObject();
    if (!item)
        return false;
    m_selected.clear();
    drop(item);
    return true;
}

CanvasObjectItem *ObjectGestures::objectAt(QPoint inViewport) const
{
    const QList<QGraphicsItem *> hits = m_editor->canvasScrollView()->items(inViewport);
    for (QGraphicsItem *hit : hits) {
        for (QGraphicsItem *item = hit; item; item = item->parentItem()) {
            if (auto *object = qobject_cast<CanvasObjectItem *>(item->toGraphicsObject()))
                return object;
        }
    }
    return nullptr;
}

bool ObjectGestures::eventFilter(QObject *watched, QEvent *event)
{
    // Only presses are looked at. The editor's other events, those sent while
    // it is being taken apart included, pass without touching it.
    if (event->type() != QEvent::MouseButtonPress && event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    if (!m_editor)
        return false;
    if (event->type() == QEvent::MouseButtonPress && m_editor->canvasScrollView()
        && watched == m_editor->canvasScrollView()->viewport()) {
        select(objectAt(static_cast<QMouseEvent *>(event)->position().toPoint()));
    } else if (event->type() == QEvent::KeyPress && watched == m_editor) {
        // A key a text field or a text being edited took never gets here.
        auto *key = static_cast<QKeyEvent *>(event);
        if ((key->key() == Qt::Key_Delete || key->key() == Qt::Key_Backspace)
            && !(key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
            && m_editor->isUserInteractionEnabled() && removeSelected())
            return true;
    }
    return QObject::eventFilter(watched, event);
}

void ObjectGestures::attach(CanvasObjectItem *item)
{
    select(item);
    QGraphicsView *view = m_editor->canvasScrollView();
    auto *pan = new PanGestureRecognizer;
    pan->setMinimumNumberOfTouches(1);
    pan->setMaximumNumberOfTouches(1);
    pan->addTarget(m_editor, [this](GestureRecognizer *r) { m_editor->panGesture(r); });
    pan->setDelegate(m_editor.data());
    auto *pinch = new PinchGestureRecognizer;
    pinch->addTarget(m_editor, [this](GestureRecognizer *r) { m_editor->pinchGesture(r); });
    pinch->setDelegate(m_editor.data());
    auto *rotation = new RotationGestureRecognizer;
    rotation->addTarget(m_editor, [this](GestureRecognizer *r) { m_editor->rotationGesture(r); });
    rotation->setDelegate(m_editor.data());
    for (GestureRecognizer *recognizer : {static_cast<GestureRecognizer *>(pan),
                                          static_cast<GestureRecognizer *>(pinch),
                                          static_cast<GestureRecognizer *>(rotation)}) {
        recognizer->addTo(item, view);
        // They go with their object (later: an action may be running).
        connect(item, &QObject::destroyed, recognizer, &QObject::deleteLater);
    }
}

void ObjectGestures::attachTap(StickerView *sticker)
{
    auto *tap = new TapGestureRecognizer;
    tap->addTarget(m_editor, [this](GestureRecognizer *r) { m_editor->tapStickerGesture(r); });
    tap->addTo(sticker, m_editor->canvasScrollView());
    connect(sticker, &QObject::destroyed, tap, &QObject::deleteLater);
}

QPointF ObjectGestures::inLayer(GestureRecognizer *recognizer) const
{
    QGraphicsView *view = m_editor->canvasScrollView();
    const QPointF inViewport = recognizer->location(view->viewport());
    return m_editor->canvasImageView()->mapFromScene(view->mapToScene(inViewport.toPoint()));
}

QRectF ObjectGestures::deleteZone() const
{
    QWidget *zone = m_editor->deleteView();
    return QRectF(QPointF(zone->mapTo(m_editor, QPoint(0, 0))), QSizeF(zone->size()));
}

void ObjectGestures::pan(GestureRecognizer *recognizer)
{
    PhotoEditorViewController &editor = *m_editor;
    editor.panGestureActive = false;
    if (!recognizer->view())
        return;
    editor.panGestureActive = true;
    auto *pan = qobject_cast<PanGestureRecognizer *>(recognizer);
    if (auto *object = qobject_cast<CanvasObjectItem *>(recognizer->item())) {
        select(object);
        if (pan)
            drag(object, pan);
    } else if (recognizer->state() != GestureRecognizerState::began) {
        if (auto *object = qobject_cast<CanvasObjectItem *>(editor.imageViewToPan.data()); object && pan)
            drag(object, pan);
    }
    const GestureRecognizerState state = recognizer->state();
    if (state == GestureRecognizerState::ended || state == GestureRecognizerState::cancelled
        || state == GestureRecognizerState::failed)
        editor.panGestureActive = false;
}

void ObjectGestures::drag(CanvasObjectItem *item, PanGestureRecognizer *pan)
{
    PhotoEditorViewController &editor = *m_editor;
    editor.deleteView()->show();
    item->bringToFront();
    QPointF p = pan->location(&editor);

    QGraphicsView *view = editor.canvasScrollView();
    const QTransform toScene = view->viewportTransform().inverted();
    const QPointF moved = toScene.map(pan->translation(view->viewport())) - toScene.map(QPointF(0, 0));
    item->setCenter(item->center() + moved);
    pan->setTranslation(QPointF(0, 0), view->viewport());

    const QRectF zone = deleteZone();
    auto *sticker = qobject_cast<StickerView *>(item);
    if (editor.lastPanPoint) {
        const QPointF q = *editor.lastPanPoint;
        const QPointF finger = inLayer(pan);
        if (zone.contains(p) && !zone.contains(q)) {
            Haptics::shared().impactOccurred(HapticImpactStyle::heavy);
            animate(item, QTransform::fromScale(kShrinkFactor, kShrinkFactor) * item->transform(),
                    finger - item->center(), kDeleteZoneMs);
            if (sticker)
                sticker->wasReduced = true;
        } else if (zone.contains(q) && !zone.contains(p)) {
            if (!sticker || sticker->wasReduced)
                animate(item, QTransform::fromScale(kRestoreFactor, kRestoreFactor) * item->transform(),
                        finger - item->center(), kDeleteZoneMs);
            else
                animate(item, item->transform(), finger - item->center(), kDeleteZoneMs);
        }
    }
    editor.lastPanPoint = p;

    if (pan->state() != GestureRecognizerState::ended)
        return;
    editor.imageViewToPan.clear();
    editor.lastPanPoint.reset();
    editor.deleteView()->hide();
    p = pan->location(&editor);
    if (!zone.contains(p)) {
        const QRectF layer = editor.canvasImageView()->boundingRect();
        if (!layer.contains(item->center()))
            animate(item, item->transform(), layer.center() - item->center(), kDeleteZoneMs);
        return;
    }
    drop(item);
}

void ObjectGestures::drop(CanvasObjectItem *item)
{
    PhotoEditorViewController &editor = *m_editor;
    if (auto *annotation = qobject_cast<AnnotateView *>(item)) {
        editor.annotationViews.removeIf([tag = annotation->tag()](AnnotateView *each) {
            return each && each->tag() == tag;
        });
        if (editor.activeAnnotateView == annotation) {
            editor.activeAnnotateView = nullptr;
            editor.activeTextView.clear();
        }
    }
    std::optional<QString> letter;
    if (auto *sticker = qobject_cast<StickerView *>(item); sticker && sticker->sticker()
        && sticker->sticker()->isSmartLetter)
        letter = sticker->sticker()->smartLetter;
    // Off the canvas; deleted once the recogniser that dropped it is done.
    if (QGraphicsScene *scene = item->scene())
        scene->removeItem(item);
    item->deleteLater();
    if (letter)
        editor.stickersControlsView()->returnSmartLetter(*letter);
    Haptics::shared().notificationOccurred(HapticNotificationType::success);
}

void ObjectGestures::pinch(GestureRecognizer *recognizer)
{
    auto *pinch = qobject_cast<PinchGestureRecognizer *>(recognizer);
    if (!pinch)
        return;
    const qreal s = pinch->scale();
    if (auto *annotation = qobject_cast<AnnotateView *>(recognizer->item())) {
        AnnotateTextView *text = annotation->textView();
        if (text->fontSize() * s < kAnnotationFontLimit)
            text->setFontSize(text->fontSize() * s);
        text->sizeThatFits(m_editor->window()->width());
        annotation->fitToTextView();
        annotation->update();
    } else if (auto *sticker = qobject_cast<StickerView *>(recognizer->item())) {
        const qreal width = sticker->frame().width();
        if (width * s > kStickerMaximumWidth)
            sticker->setTransform(QTransform::fromScale(1, 1) * sticker->transform());
        else if (width * s < kStickerMinimumWidth)
            sticker->setTransform(QTransform::fromScale(kStickerMinimumScale, kStickerMinimumScale));
        else
            sticker->setTransform(QTransform::fromScale(s, s) * sticker->transform());
    }
    pinch->setScale(1);
}

void ObjectGestures::rotate(GestureRecognizer *recognizer)
{
    auto *rotation = qobject_cast<RotationGestureRecognizer *>(recognizer);
    if (!rotation)
        return;
    if (QGraphicsObject *item = recognizer->item())
        item->setTransform(QTransform().rotateRadians(rotation->rotation()) * item->transform());
    rotation->setRotation(0);
}

void ObjectGestures::tapSticker(GestureRecognizer *recognizer)
{
    // One finger (a click has none to count).
    if (recognizer->numberOfTouches() > 1)
        return;
    if (auto *object = qobject_cast<CanvasObjectItem *>(recognizer->item())) {
        bounce(object);
        return;
    }
    // A tap on the layer itself: the sticker whose picture is not
    // transparent under the finger bounces.
    const QPointF point = inLayer(recognizer);
    for (QGraphicsItem *child : m_editor->canvasImageView()->childItems()) {
        auto *sticker = qobject_cast<StickerView *>(child->toGraphicsObject());
        if (sticker && sticker->alphaAt(sticker->mapFromParent(point)) > 0)
            bounce(sticker);
    }
}

void ObjectGestures::bounce(CanvasObjectItem *item)
{
    select(item);
    item->bringToFront();
    Haptics::shared().impactOccurred(HapticImpactStyle::heavy);
    const QTransform before = item->transform();
    QPointer<CanvasObjectItem> guarded(item);
    animate(item, QTransform::fromScale(kBounceScale, kBounceScale) * before, QPointF(), kBounceMs,
            [guarded, before] {
                if (guarded)
                    animate(guarded, before, QPointF(), kBounceMs);
            });
}

void ObjectGestures::animate(CanvasObjectItem *item, const QTransform &to, QPointF shift, int ms,
                             std::function<void()> finished)
{
    auto *animation = new QVariantAnimation(item);
    animation->setDuration(ms);
    animation->setStartValue(0.0);
    animation->setEndValue(1.0);
    const QTransform from = item->transform();
    auto done = std::make_shared<qreal>(0.0);
    QObject::connect(animation, &QVariantAnimation::valueChanged, item, [item, from, to, shift, done](const QVariant &v) {
        const qreal t = v.toReal();
        item->setTransform(interpolated(from, to, t));
        item->setCenter(item->center() + shift * (t - *done));
        *done = t;
    });
    if (finished)
        QObject::connect(animation, &QVariantAnimation::finished, item, std::move(finished));
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

} // namespace tessivo
