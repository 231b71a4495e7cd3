// The photo editor's canvas objects: text annotations (creation, editing,
// the keyboard), stickers placed from the picker, and the hand-off of
// their gestures to ObjectGestures.
#include "photo/PhotoEditorViewController.h"

#include "photo/ObjectGestures.h"
#include "photo/StickerView.h"
#include "platform/TapGestureRecognizer.h"
#include "platform/Toolbar.h"

#include <QLayout>
#include <QVariantAnimation>

namespace tessivo {

// Text annotations -------------------------------------------------------------------

void PhotoEditorViewController::addAnnotation(qreal y)
{
    StrokeLayerItem *layer = m_canvasImageView;
    if (!layer)
        qFatal("Tessivo: the photo editor has no stroke layer");
    // A third of the box lies above the point.
    // As wide as the screenshot, in its own points.
    auto *box = new AnnotateView(
        QRectF(0, y - AnnotateView::kHeight / 3.0, layer->size().width(), AnnotateView::kHeight));
    box->setTag(static_cast<int>(annotationViews.size()));
    AnnotateTextView *text = box->textView();
    connect(text, &AnnotateTextView::didBeginEditing, this, &PhotoEditorViewController::textViewDidBeginEditing);
    connect(text, &AnnotateTextView::didChange, this, &PhotoEditorViewController::textViewDidChange);
    text->inputAccessoryView = toolbar();
    annotationViews.append(box);
    for (int i = 0; i < annotationViews.size(); ++i) {
        if (annotationViews[i])
            annotationViews[i]->setTag(i);
    }
    box->setParentItem(layer);
    box->bringToFront();
    attachObjectGestures(box);

    placeAccessory();
    m_canvasScrollView->setFocus(Qt::OtherFocusReason);
    text->becomeFirstResponder();
    activeAnnotateView = box;
    activeTextView = text;
    text->setTintColor(annotateColor);
    text->setTextColor(annotateColor);
    text->setBackgroundColor(editingHighlight());
    activeAnnotationIsEditing = true;
}

void PhotoEditorViewController::textViewDidBeginEditing(AnnotateTextView *textView)
{
    if (isNote || textView->toPlainText().isEmpty())
        return;
    textView->setBackgroundColor(editingHighlight());
    activeTextView = textView;
    activeAnnotateView = nullptr;
    for (AnnotateView *each : std::as_const(annotationViews)) {
        if (each && each->tag() == textView->tag()) {
            activeAnnotateView = each;
            break;
        }
    }
    textView->setZValue(1);
}

void PhotoEditorViewController::textViewDidChange(AnnotateTextView *textView)
{
    if (!activeTextView || !isAnnotating || !activeAnnotateView || activeTextView != textView)
        return;
    // Only the height follows the text; origin and width stay.
    const QRectF box = activeAnnotateView->bounds().translated(activeAnnotateView->center());
    const qreal height = textView->heightThatFits(box.width());
    activeAnnotateView->setFrame(QRectF(box.topLeft(), QSizeF(box.width(), height)));
}

void PhotoEditorViewController::finishAnnotation()
{
    auto *active = qobject_cast<AnnotateTextView *>(activeTextView.data());
    if (active && active->toPlainText().isEmpty() && activeAnnotateView) {
        // Off the canvas, but kept (with its tag) in annotationViews.
        AnnotateView *box = activeAnnotateView;
        if (QGraphicsScene *scene = box->scene())
            scene->removeItem(box);
        box->setParent(this);
    }
    if (active)
        active->setBackgroundColor(Qt::transparent);
    auto *tap = new TapGestureRecognizer;
    tap->addTarget(this, [this](GestureRecognizer *r) { tapGesture(r); });
    tap->addTo(m_canvasScrollView->viewport());
    m_layerRecognizers.append(tap);
    showBar(m_annotateControlsView);
    activeAnnotationIsEditing = false;
}

void PhotoEditorViewController::tapGesture(GestureRecognizer *recognizer)
{
    if (activeAnnotationIsEditing || recognizer->state() != GestureRecognizerState::ended)
        return;
    // The layer's recognisers work only while the layer takes input, and
    // only for taps on it.
    if (!m_canvasImageView->isUserInteractionEnabled())
        return;
    const QPointF inViewport = recognizer->location(m_canvasScrollView->viewport());
    const QPointF location = m_canvasImageView->mapFromScene(m_canvasScrollView->mapToScene(inViewport.toPoint()));
    if (!m_canvasImageView->boundingRect().contains(location))
        return;
    AnnotateView *touched = nullptr;
    for (AnnotateView *each : std::as_const(annotationViews)) {
        if (each && each->parentItem() == m_canvasImageView
            && each->contains(each->mapFromItem(m_canvasImageView, location)))
            touched = each;
    }
    if (auto *active = qobject_cast<AnnotateTextView *>(activeTextView.data())) {
        active->setEditable(false);
        active->setBackgroundColor(Qt::transparent);
    }
    if (touched)
        editAnnotation(touched);
    else
        addAnnotation(location.y());
}

void PhotoEditorViewController::editAnnotation(AnnotateView *box)
{
    // A finished text taps back into editing, keeping its colour and size.
    AnnotateTextView *text = box->textView();
    text->setEditable(true);
    box->bringToFront();
    placeAccessory();
    m_canvasScrollView->setFocus(Qt::OtherFocusReason);
    text->becomeFirstResponder();
    activeAnnotateView = box;
    activeTextView = text;
    text->setBackgroundColor(editingHighlight());
    activeAnnotationIsEditing = true;
}

QList<GestureRecognizer *> PhotoEditorViewController::canvasImageViewRecognizers() const
{
    QList<GestureRecognizer *> result;
    for (const auto &each : m_layerRecognizers) {
        if (each)
            result.append(each);
    }
    return result;
}

void PhotoEditorViewController::removeLayerGestures()
{
    for (const auto &each : std::as_const(m_layerRecognizers)) {
        if (!each)
            continue;
        each->removeFromView();
        each->deleteLater();
    }
    m_layerRecognizers.clear();
}

void PhotoEditorViewController::placeAccessory()
{
    // Without an on-screen keyboard the accessory sits over the bars.
    Toolbar *bar = toolbar();
    if (!bar || !m_annotateControlsView)
        return;
    bar->sizeToFit();
    const int top = m_annotateControlsView->mapTo(this, QPoint(0, 0)).y();
    bar->setGeometry(0, std::max(0, top - bar->height()), width(), bar->height());
    bar->raise();
}

// The keyboard -------------------------------------------------------------------------

void PhotoEditorViewController::keyboardWillShow(const KeyboardNotification &notification)
{
    const qreal height = notification.frameEnd.height();
    if (isNote)
        controlsBottomConstraint.setConstant(height);
    if (isAnnotating)
        annotateControlsBottomConstraint.setConstant(height);
    keyboardBackgroundHeightConstraint.setConstant(height);
    animateLayout(notification);
}

void PhotoEditorViewController::keyboardWillHide(const KeyboardNotification &notification)
{
    controlsBottomConstraint.setConstant(0);
    annotateControlsBottomConstraint.setConstant(0);
    keyboardBackgroundHeightConstraint.setConstant(0);
    animateLayout(notification);
}

void PhotoEditorViewController::animateLayout(const KeyboardNotification &notification)
{
    // The constraints are already at their new values; the layout follows
    // over the keyboard's duration and curve.
    if (layout())
        layout()->activate();
    auto *animation = new QVariantAnimation(this);
    animation->setDuration(qRound(notification.duration * 1000));
    animation->setEasingCurve(notification.curve);
    animation->setStartValue(0.0);
    animation->setEndValue(1.0);
    connect(animation, &QVariantAnimation::valueChanged, this, [this] {
        if (layout())
            layout()->activate();
        placeAccessory();
    });
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

// Stickers and gestures -------------------------------------------------------------------

void PhotoEditorViewController::didSelectSticker(std::unique_ptr<StickerView> stickerView)
{
    StrokeLayerItem *layer = m_canvasImageView;
    if (!layer)
        qFatal("Tessivo: the photo editor has no stroke layer");
    StickerView *sticker = stickerView.release(); // the layer owns it now
    sticker->setCenter(layer->boundingRect().center());
    sticker->setParentItem(layer);
    sticker->bringToFront();
    m_objectGestures->attachTap(sticker);
    attachObjectGestures(sticker);
}

void PhotoEditorViewController::attachObjectGestures(CanvasObjectItem *item)
{
    m_objectGestures->attach(item);
}

void PhotoEditorViewController::panGesture(GestureRecognizer *recognizer)
{
    m_objectGestures->pan(recognizer);
}

void PhotoEditorViewController::pinchGesture(GestureRecognizer *recognizer)
{
    m_objectGestures->pinch(recognizer);
}

void PhotoEditorViewController::rotationGesture(GestureRecognizer *recognizer)
{
    m_objectGestures->rotate(recognizer);
}

void PhotoEditorViewController::tapStickerGesture(GestureRecognizer *recognizer)
{
    m_objectGestures->tapSticker(recognizer);
}

} // namespace tessivo
