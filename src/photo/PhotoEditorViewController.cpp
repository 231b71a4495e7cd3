#include "photo/PhotoEditorViewController.h"

#include "photo/ObjectGestures.h"
#include "photo/PhotoCanvas.h"
#include "photo/StickerView.h"

#include "core/TessivoKit.h"
#include "metadata/MetadataTexts.h"
#include "metadata/NoteTextView.h"
#include "metadata/SharingMethodView.h"
#include "platform/Bundle.h"
#include "platform/ContentView.h"
#include "platform/Layer.h"
#include "platform/PanGestureRecognizer.h"

#include "ui_PhotoEditorViewController.h"

#include <QLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>

#include <algorithm>
#include <cmath>

namespace tessivo {

const QString PhotoEditorViewController::kKind = QStringLiteral("Screenshot");
const QString PhotoEditorViewController::kFileName = QStringLiteral("screenshot.png");

namespace {

// On wide screens the bars keep a comfortable width, centred.
constexpr int kMaximumBarWidth = 600;

QColor backgroundFor(Appearance appearance)
{
    return appearance == Appearance::dark ? QColor(0, 0, 0) : QColor(242, 242, 247);
}

} // namespace

PhotoEditorViewController::PhotoEditorViewController(QWidget *parent)
    : EditorViewController(parent), m_ui(std::make_unique<Ui::PhotoEditorViewController>())
{
    loadContentView(this, *m_ui);
    m_controlsView = requireOutlet(m_ui->controlsView, "controlsView");
    m_annotateControlsView = requireOutlet(m_ui->annotateControlsView, "annotateControlsView");
    m_markupControlsView = requireOutlet(m_ui->markupControlsView, "markupControlsView");
    m_stickersControlsView = requireOutlet(m_ui->stickersControlsView, "stickersControlsView");
    m_deleteView = requireOutlet(m_ui->deleteView, "deleteView");
    controlsBottomConstraint = LayoutConstraint(requireOutlet(m_ui->controlsBottomSpace, "controlsBottomSpace"),
                                                LayoutConstraint::Attribute::height);
    keyboardBackgroundHeightConstraint =
        LayoutConstraint(requireOutlet(m_ui->keyboardBackgroundView, "keyboardBackgroundView"),
                         LayoutConstraint::Attribute::height);
    annotateControlsBottomConstraint =
        LayoutConstraint(requireOutlet(m_ui->annotateControlsBottomSpace, "annotateControlsBottomSpace"),
                         LayoutConstraint::Attribute::height);
    setActivityIndicator(requireOutlet(m_ui->activityIndicator, "activityIndicator"));

    m_controlsView->setDelegate(this);
    m_markupControlsView->setDelegate(this);
    m_annotateControlsView->setDelegate(this);
    m_stickersControlsView->setDelegate(this);
    qobject_cast<QLabel *>(m_deleteView.data())
        ->setPixmap(Bundle::kit().icon(QStringLiteral("bar_clear")).pixmap(QSize(28, 28), devicePixelRatioF()));
    showBar(m_controlsView);

    // The canvas: screenshot, stroke layer over it, card below.
    m_canvas = new PhotoCanvas(this);
    QGraphicsScene *scene = m_canvas->scene();
    m_canvasView = scene;
    m_metadataView = m_canvas->metadataView();
    m_canvasImageView = m_canvas->strokeLayer();
    setImageView(m_canvas->imageView());

    CanvasScrollView *scroller = requireOutlet(m_ui->canvasScrollView, "canvasScrollView");
    scroller->setScene(scene);
    scroller->viewport()->installEventFilter(this);
    connect(scroller, &CanvasScrollView::scrollRequested, this, &PhotoEditorViewController::wheelScroll);
    setCanvasScrollView(scroller);
    m_canvasImageView->setUserInteractionEnabled(false);
    m_objectGestures = new ObjectGestures(this);

    for (QWidget *bar : {static_cast<QWidget *>(m_controlsView), static_cast<QWidget *>(m_markupControlsView),
                         static_cast<QWidget *>(m_annotateControlsView), static_cast<QWidget *>(m_stickersControlsView.data())})
        styleControlsPanel(bar);
    applyColors();
    layoutCanvas();
}

PhotoEditorViewController::~PhotoEditorViewController() = default;

// Outlets ------------------------------------------------------------------------

void PhotoEditorViewController::setImageView(QGraphicsPixmapItem *item)
{
    m_imageView = item;
    if (!item)
        return;
    m_canvas->setImageView(item, m_image);
    layoutCanvas();
}

void PhotoEditorViewController::setCanvasScrollView(CanvasScrollView *view)
{
    m_canvasScrollView = view;
    addScrollGesture(view);
}

void PhotoEditorViewController::setImage(const QImage &image)
{
    m_image = image;
    if (m_imageView)
        setImageView(m_imageView);
}

QWidget *PhotoEditorViewController::panelContainer() const
{
    return m_canvasScrollView ? m_canvasScrollView->viewport() : nullptr;
}

// Lifecycle -----------------------------------------------------------------------

void PhotoEditorViewController::viewDidLoad()
{
    EditorViewController::viewDidLoad();
    refreshCard();
}

void PhotoEditorViewController::viewDidAppear(bool animated)
{
    EditorViewController::viewDidAppear(animated);
    controlsViewInitialY = m_controlsView->mapTo(this, QPoint(0, 0)).y();
    // The editor opens on the whole screenshot; the indicator at the
    // canvas's edge shows that the card lies below.
    layoutCanvas();
    m_canvasScrollView->setContentOffset(QPointF(0, 0), false);
}

void PhotoEditorViewController::traitCollectionDidChange(Appearance previous)
{
    EditorViewController::traitCollectionDidChange(previous);
    for (QWidget *bar : {static_cast<QWidget *>(m_controlsView), static_cast<QWidget *>(m_annotateControlsView),
                         static_cast<QWidget *>(m_markupControlsView), static_cast<QWidget *>(m_stickersControlsView.data())})
        styleControlsPanel(bar);
    applyColors();
}

void PhotoEditorViewController::applyColors()
{
    const Appearance appearance = appearanceOf(this);
    if (m_canvasScrollView)
        m_canvasScrollView->setBackgroundBrush(backgroundFor(appearance));
    m_canvas->applyColors(appearance, palette());
    Layer::of(m_ui->keyboardBackgroundView)->setBackgroundColor(PhotoCanvas::cardColorFor(appearance));
    update();
}

void PhotoEditorViewController::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), backgroundFor(appearanceOf(this)));
}

void PhotoEditorViewController::resizeEvent(QResizeEvent *event)
{
    EditorViewController::resizeEvent(event);
    const int side = std::max(0, (width() - kMaximumBarWidth) / 2);
    m_ui->barLayout->setContentsMargins(side, 0, side, 0);
}

bool PhotoEditorViewController::eventFilter(QObject *watched, QEvent *event)
{
    if (m_canvasScrollView && watched == m_canvasScrollView->viewport() && event->type() == QEvent::Resize)
        layoutCanvas();
    return EditorViewController::eventFilter(watched, event);
}

// The canvas ----------------------------------------------------------------------

void PhotoEditorViewController::layoutCanvas()
{
    if (m_canvas)
        m_canvas->layout(m_canvasScrollView);
}

void PhotoEditorViewController::refreshCard()
{
    syncSelectedNoteTypes();
    if (m_metadataView) {
        m_metadataView->setMetadata(metadata);
        m_metadataView->refresh();
    }
    layoutCanvas();
}

QPointF PhotoEditorViewController::toStrokeLayer(QPointF editorPoint) const
{
    QWidget *viewport = m_canvasScrollView->viewport();
    const QPointF inViewport = editorPoint - QPointF(viewport->mapTo(this, QPoint(0, 0)));
    const QPointF inScene = m_canvasScrollView->viewportTransform().inverted().map(inViewport);
    return m_canvasImageView->mapFromScene(inScene);
}

bool PhotoEditorViewController::isOverCanvas(QPointF editorPoint) const
{
    QWidget *viewport = m_canvasScrollView->viewport();
    return QRectF(QPointF(viewport->mapTo(this, QPoint(0, 0))), QSizeF(viewport->size())).contains(editorPoint);
}

void PhotoEditorViewController::drawLine(QPointF from, QPointF to)
{
    const qreal scale = m_canvasScrollView ? m_canvasScrollView->devicePixelRatioF() : devicePixelRatioF();
    m_canvas->drawLine(from, to, drawColor, kStrokeWidth, scale);
}

void PhotoEditorViewController::touchesBegan(QPointF location)
{
    if (!isDrawing)
        return;
    swiped = false;
    lastPoint = toStrokeLayer(location);
}

void PhotoEditorViewController::touchesMoved(QPointF location)
{
    if (!isDrawing)
        return;
    swiped = true;
    const QPointF current = toStrokeLayer(location);
    drawLine(lastPoint, current);
    lastPoint = current;
}

void PhotoEditorViewController::touchesEnded()
{
    if (!isDrawing)
        return;
    if (!swiped)
        drawLine(lastPoint, lastPoint);
}

void PhotoEditorViewController::mousePressEvent(QMouseEvent *event)
{
    // The canvas lets input through while drawing: the press lands here.
    m_tracking = event->button() == Qt::LeftButton && isOverCanvas(event->position());
    if (m_tracking)
        touchesBegan(event->position());
    EditorViewController::mousePressEvent(event);
}

void PhotoEditorViewController::mouseMoveEvent(QMouseEvent *event)
{
    if (m_tracking && (event->buttons() & Qt::LeftButton))
        touchesMoved(event->position());
    EditorViewController::mouseMoveEvent(event);
}

void PhotoEditorViewController::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_tracking && event->button() == Qt::LeftButton) {
        m_tracking = false;
        touchesEnded();
    }
    EditorViewController::mouseReleaseEvent(event);
}

// Scrolling -------------------------------------------------------------------------

double PhotoEditorViewController::scrollLimit() const
{
    const double card = m_metadataView ? m_metadataView->height() * m_canvasScrollView->contentScale() : 0.0;
    const double bar = m_controlsView ? m_controlsView->height() : 0.0;
    return card + bar;
}

void PhotoEditorViewController::scrollGesture(GestureRecognizer *recognizer)
{
    if (panGestureActive || !m_canvasScrollView)
        return;
    auto *pan = qobject_cast<PanGestureRecognizer *>(recognizer);
    switch (recognizer->state()) {
    case GestureRecognizerState::began:
        canvasScrollViewOffsetY = m_canvasScrollView->contentOffsetY();
        break;
    case GestureRecognizerState::changed: {
        double y = canvasScrollViewOffsetY - (pan ? pan->translation(m_canvasScrollView).y() : 0.0);
        y = std::max(y, 0.0);
        m_canvasScrollView->setContentOffset(QPointF(0, y), false);
        const double limit = scrollLimit();
        if (y > limit)
            m_canvasScrollView->setContentOffset(QPointF(0, limit), false);
        break;
    }
    default:
        break;
    }
}

void PhotoEditorViewController::wheelScroll(qreal dy)
{
    // The wheel and the keys scroll as a drag does, within the same bounds,
    // whenever a canvas pan is attached.
    if (panGestureActive || !m_canvasScrollView || GestureRecognizer::recognizers(m_canvasScrollView).isEmpty())
        return;
    const double y = std::clamp(m_canvasScrollView->contentOffsetY() + dy, 0.0, std::max(0.0, scrollLimit()));
    m_canvasScrollView->setContentOffset(QPointF(0, y), false);
}

void PhotoEditorViewController::addScrollGesture(QWidget *view)
{
    if (!view)
        return;
    if (auto *scroller = qobject_cast<CanvasScrollView *>(view))
        scroller->setUserInteractionEnabled(true);
    else
        view->setAttribute(Qt::WA_TransparentForMouseEvents, false);
    auto *pan = new PanGestureRecognizer;
    pan->setMinimumNumberOfTouches(1);
    pan->setMaximumNumberOfTouches(1);
    pan->addTarget(this, [this](GestureRecognizer *r) { scrollGesture(r); });
    pan->setDelegate(this);
    pan->addTo(view);
}

void PhotoEditorViewController::removeAllGestures(QWidget *view)
{
    for (GestureRecognizer *recognizer : GestureRecognizer::recognizers(view)) {
        recognizer->removeFromView();
        recognizer->deleteLater();
    }
}

void PhotoEditorViewController::scrollCanvasToBottom()
{
    if (!m_canvasScrollView)
        return;
    const double y = m_canvasScrollView->contentHeight() - m_canvasScrollView->boundsHeight()
        + m_canvasScrollView->bottomContentInset();
    m_canvasScrollView->setContentOffset(QPointF(0, std::max(0.0, y)), true);
}

// Tools -------------------------------------------------------------------------------

void PhotoEditorViewController::showBar(QWidget *bar)
{
    for (QWidget *each : {static_cast<QWidget *>(m_controlsView), static_cast<QWidget *>(m_markupControlsView),
                          static_cast<QWidget *>(m_annotateControlsView), static_cast<QWidget *>(m_stickersControlsView.data())})
        each->setVisible(each == bar);
}

void PhotoEditorViewController::setControlsShadowOpacity(double opacity)
{
    Layer *layer = Layer::of(m_controlsView);
    layer->setShadow(layer->shadowOffset(), layer->shadowRadius(), opacity, layer->shadowColor());
}

void PhotoEditorViewController::markupTapped()
{
    resetPanels();
    m_canvasScrollView->setContentOffset(QPointF(0, 0), true);
    showBar(m_markupControlsView);
    m_markupControlsView->defaultColor = drawColor;
    m_markupControlsView->selectDefaultColor();
    isDrawing = true;
    m_canvasScrollView->setUserInteractionEnabled(false);
    m_canvasImageView->setUserInteractionEnabled(false);
}

void PhotoEditorViewController::annotateTapped()
{
    resetPanels();
    m_canvasScrollView->setContentOffset(QPointF(0, 0), true);
    showBar(m_annotateControlsView);
    isNote = false;
    isAnnotating = true;
    m_canvasImageView->setUserInteractionEnabled(true);
    m_annotateControlsView->defaultColor = annotateColor;
    m_annotateControlsView->selectDefaultColor();
    addAnnotation(m_canvasImageView->frame().height() * 0.25);
}

void PhotoEditorViewController::stickersTapped()
{
    resetPanels();
    m_canvasScrollView->setContentOffset(QPointF(0, 0), true);
    showBar(m_stickersControlsView);
    m_canvasImageView->setUserInteractionEnabled(true);
    m_canvasScrollView->setUserInteractionEnabled(true);
}

void PhotoEditorViewController::noteTapped()
{
    openNotePanel(panelContainer());
    isNote = true;
    removeAllGestures(m_canvasScrollView);
    m_canvasImageView->setUserInteractionEnabled(false);
}

void PhotoEditorViewController::shareTapped()
{
    resetPanels();
    isNote = false;
    scrollCanvasToBottom();
    openSharePanel(panelContainer());
    removeAllGestures(m_canvasScrollView);
    m_canvasImageView->setUserInteractionEnabled(false);
}

void PhotoEditorViewController::toolDeselected()
{
    scrollCanvasToBottom();
    hideShareView();
}

void PhotoEditorViewController::closeTapped()
{
    const bool wasNote = isNote;
    resetPanels();
    if (!wasNote) {
        hideShareView();
        const QImage rendered = renderCanvas();
        confirmQuit(rendered, std::nullopt, kKind, false);
    }
    // Either way the note panel is closed now.
    isNote = false;
    m_controlsView->resetButtons();
}

void PhotoEditorViewController::leaveTool()
{
    auto *active = qobject_cast<AnnotateTextView *>(activeTextView.data());
    if (active) {
        active->setEditable(false);
        active->resignFirstResponder();
    }
    removeLayerGestures();
    showBar(m_controlsView);
    m_controlsView->resetButtons();
    m_canvasScrollView->setUserInteractionEnabled(true);
    m_canvasImageView->setUserInteractionEnabled(false);
    isDrawing = false;
    isAnnotating = false;
    if (active)
        active->setBackgroundColor(Qt::transparent);
    activeTextView.clear();
    activeAnnotateView = nullptr;
    activeAnnotationIsEditing = false;
}

void PhotoEditorViewController::clearDrawing()
{
    m_canvasImageView->setImage(QImage());
}

void PhotoEditorViewController::didSelectColor(const QColor &color)
{
    if (isDrawing) {
        drawColor = color;
        return;
    }
    annotateColor = color;
    if (auto *active = qobject_cast<AnnotateTextView *>(activeTextView.data())) {
        active->setTintColor(color);
        active->setTextColor(color);
    } else if (activeTextView) {
        activeTextView->setDefaultTextColor(color);
    }
}

// Panels ----------------------------------------------------------------------------------

void PhotoEditorViewController::openNotePanel(QWidget *container)
{
    if (container == this)
        container = panelContainer();
    if (isShownIn(noteView(), container))
        return;
    EditorViewController::hideShareView();
    isNote = true;
    showNoteView(container, QRect(0, container->height() - qRound(noteViewHeight), container->width(),
                                  qRound(noteViewHeight)));
}

void PhotoEditorViewController::openSharePanel(QWidget *container)
{
    if (container == this)
        container = panelContainer();
    if (isShownIn(shareView(), container))
        return;
    showBar(m_controlsView);
    showShareView(container, QRect(0, container->height() - qRound(shareViewHeight), container->width(),
                                   qRound(shareViewHeight)));
    QPointer<PhotoEditorViewController> self(this);
    shareView()->setShareFunctionFromController([self] {
        if (self)
            self->sendAction();
    });
}

void PhotoEditorViewController::resetPanels()
{
    EditorViewController::resetPanels();
    addScrollGesture(m_canvasScrollView);
    refreshCard();
    setControlsShadowOpacity(0.08);
    if (layout())
        layout()->activate();
}

void PhotoEditorViewController::hideShareView()
{
    EditorViewController::hideShareView();
    addScrollGesture(m_canvasScrollView);
    setControlsShadowOpacity(0.08);
    if (layout())
        layout()->activate();
}

void PhotoEditorViewController::done()
{
    auto *active = qobject_cast<AnnotateTextView *>(activeTextView.data());
    if (active)
        active->resignFirstResponder();
    if (!isNote) {
        finishAnnotation();
        return;
    }
    const bool wasEmpty = metadata.note.isEmpty();
    resetPanels();
    // The panel is closed: the bar shows no tool, and the next close asks
    // to quit.
    isNote = false;
    m_controlsView->resetButtons();
    if (!(wasEmpty && metadata.note.isEmpty()))
        scrollCanvasToBottom();
}

void PhotoEditorViewController::closeEditor(std::function<void()> completion)
{
    removeAllGestures(m_canvasScrollView);
    removeLayerGestures();
    EditorViewController::closeEditor(std::move(completion));
}

// The report ------------------------------------------------------------------------------

QString PhotoEditorViewController::reportSummaryText() const
{
    if (!m_metadataView)
        return {};
    return metadata::noteAttributedText(m_metadataView->metadata(), MetadataView::noteFont()).string();
}

QString PhotoEditorViewController::reportDetailsText() const
{
    return m_metadataView ? m_metadataView->reportSummary() : QString();
}

void PhotoEditorViewController::sendAction()
{
    hideShareView();
    const std::optional<ShareMethod> option = shareView()->selectedOption();
    if (!option)
        return;
    TessivoKit::shared().shareMethod = *option;
    const QImage rendered = renderCanvas();
    sendFeedback(rendered, std::nullopt, kFileName, reportSummaryText(), reportDetailsText(), false);
}

QImage PhotoEditorViewController::renderCanvas()
{
    return m_canvas->render(m_canvasScrollView);
}

} // namespace tessivo
