// The screenshot editor. The canvas is a graphics scene shown by a
// scroller (canvasScrollView): from top to bottom the screenshot
// (imageView), the stroke layer over it (canvasImageView, whose child
// items are the annotations and stickers) and the metadata card
// (metadataView). Everything in the scene is what the report image holds.
//
// Tool modes are flags: idle, markup (isDrawing), annotation
// (isAnnotating), stickers (the sticker bar shown) and note (isNote). Only
// one bar shows at a time: controlsView when idle, else the tool's own.
// The note and share panels of the editor base open over the bottom of the
// canvas's visible area (panelContainer()).
#pragma once

#include "core/ShareMethod.h"
#include "editors/EditorViewController.h"
#include "metadata/MetadataView.h"
#include "photo/AnnotateControlsDelegate.h"
#include "photo/AnnotateControlsView.h"
#include "photo/CanvasScrollView.h"
#include "photo/ControlsView.h"
#include "photo/MarkupControlsDelegate.h"
#include "photo/MarkupControlsView.h"
#include "photo/AnnotateView.h"
#include "photo/StickersControlsDelegate.h"
#include "photo/StickersControlsView.h"
#include "photo/StrokeLayerItem.h"
#include "platform/GestureRecognizer.h"
#include "platform/LayoutConstraint.h"
#include "tessivo_export.h"

#include <QColor>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QImage>
#include <QPointer>

#include <memory>
#include <optional>

class QLabel;

namespace Ui {
class PhotoEditorViewController;
}

namespace tessivo {

class CanvasObjectItem;
class ObjectGestures;
class PhotoCanvas;
class StickerView;

class TESSIVO_EXPORT PhotoEditorViewController : public EditorViewController,
                                                 public MarkupControlsDelegate,
                                                 public AnnotateControlsDelegate,
                                                 public StickersControlsDelegate,
                                                 public GestureRecognizerDelegate
{
    Q_OBJECT
    /// The screenshot being edited; whoever presents the editor sets it.
    Q_PROPERTY(QImage image READ image WRITE setImage)
public:
    static constexpr double kStrokeWidth = 5.0;
    static const QString kKind;     // "Screenshot"
    static const QString kFileName; // "screenshot.png"

    explicit PhotoEditorViewController(QWidget *parent = nullptr);
    ~PhotoEditorViewController() override;

    // Fields, outlets first --------------------------------------------------
    ControlsView *controlsView() const { return m_controlsView; }
    AnnotateControlsView *annotateControlsView() const { return m_annotateControlsView; }
    MarkupControlsView *markupControlsView() const { return m_markupControlsView; }
    StickersControlsView *stickersControlsView() const { return m_stickersControlsView; }
    /// Shows the screenshot; setting it shows image() in it.
    QGraphicsPixmapItem *imageView() const { return m_imageView; }
    void setImageView(QGraphicsPixmapItem *item);
    /// The delete zone for dragged objects (hidden until a drag).
    QWidget *deleteView() const { return m_deleteView; }
    /// The scroller; setting it attaches a canvas scroll recogniser.
    CanvasScrollView *canvasScrollView() const { return m_canvasScrollView; }
    void setCanvasScrollView(CanvasScrollView *view);
    LayoutConstraint controlsBottomConstraint;
    LayoutConstraint keyboardBackgroundHeightConstraint;
    LayoutConstraint annotateControlsBottomConstraint;
    /// The content that is rendered into the report image.
    QGraphicsScene *canvasView() const { return m_canvasView; }
    /// The stroke layer; parent of annotations and stickers.
    StrokeLayerItem *canvasImageView() const { return m_canvasImageView; }
    MetadataView *metadataView() const { return m_metadataView; }
    QImage image() const { return m_image; }
    /// A null image leaves the canvas with the card alone.
    void setImage(const QImage &image);
    QColor drawColor = Qt::black;
    QColor annotateColor = Qt::red;
    bool isDrawing = false;
    bool isAnnotating = false;
    /// The stroke's last point, in canvasImageView coordinates.
    QPointF lastPoint;
    bool swiped = false;
    std::optional<QPointF> lastPanPoint;
    QPointer<QGraphicsTextItem> activeTextView;
    QPointer<QGraphicsObject> imageViewToPan;
    bool isNote = false;
    double canvasScrollViewOffsetY = 0;
    bool panGestureActive = false;
    bool isScrollEnabled = true;
    int currentNumberOfLines = 0;
    /// The annotations, index equal to their tag (not owned: they are
    /// items of the stroke layer).
    QList<AnnotateView *> annotationViews;
    QPointer<AnnotateView> activeAnnotateView;
    bool activeAnnotationIsEditing = false;

    /// Where the note and share panels open: the canvas's visible area.
    QWidget *panelContainer() const;

    // Markup ---------------------------------------------------------------------
    /// Adds one straight, round-capped segment of width 5 in drawColor to
    /// the stroke layer, re-rendering the whole layer at the screen scale.
    void drawLine(QPointF from, QPointF to);
    /// The markup tool's touches, at points in this editor's coordinates.
    /// They draw only while isDrawing.
    void touchesBegan(QPointF location);
    void touchesMoved(QPointF location);
    void touchesEnded();

    // Canvas scrolling ---------------------------------------------------------
    void scrollGesture(GestureRecognizer *recognizer);
    /// Enables input on `view` and attaches a new one-finger canvas pan.
    void addScrollGesture(QWidget *view);
    /// Removes every recogniser `view` has.
    static void removeAllGestures(QWidget *view);
    /// The lowest offset the canvas scrolls to: the card's height plus the
    /// tool bar's.
    double scrollLimit() const;

    // Text annotations ------------------------------------------------------------
    /// The editing highlight behind a text being edited.
    static QColor editingHighlight() { return QColor(200, 200, 200, qRound(0.3 * 255)); }
    /// A new annotation centred on `y` of the stroke layer, being edited.
    void addAnnotation(qreal y);
    void textViewDidBeginEditing(AnnotateTextView *textView);
    void textViewDidChange(AnnotateTextView *textView);
    /// A tap on the stroke layer after an annotation is finished: on a
    /// text, edits it again; elsewhere, adds the next one there.
    void tapGesture(GestureRecognizer *recognizer);
    void editAnnotation(AnnotateView *box);
    /// The recognisers on the stroke layer itself (not its objects').
    QList<GestureRecognizer *> canvasImageViewRecognizers() const;

    // Stickers and object gestures --------------------------------------------------
    void didSelectSticker(std::unique_ptr<StickerView> stickerView) override;
    /// Pan, pinch and rotation on a new annotation or sticker.
    void attachObjectGestures(CanvasObjectItem *item);
    void panGesture(GestureRecognizer *recognizer);
    void pinchGesture(GestureRecognizer *recognizer);
    void rotationGesture(GestureRecognizer *recognizer);
    void tapStickerGesture(GestureRecognizer *recognizer);
    ObjectGestures *objectGestures() const { return m_objectGestures; }
    /// Every recogniser may work with any other.
    bool shouldRecognizeSimultaneously(GestureRecognizer *, GestureRecognizer *) override { return true; }

    // Tools ----------------------------------------------------------------------
    void leaveTool();
    void clearDrawing() override;
    void didSelectColor(const QColor &color) override;
    void back() override { leaveTool(); }

    void annotateTapped() override;
    void markupTapped() override;
    void noteTapped() override;
    void stickersTapped() override;
    void closeTapped() override;
    void shareTapped() override;
    void toolDeselected() override;

    // Panels and the report ------------------------------------------------------
    void openNotePanel(QWidget *container) override;
    void openSharePanel(QWidget *container) override;
    void resetPanels() override;
    void hideShareView() override;
    void scrollCanvasToBottom() override;
    void closeEditor(std::function<void()> completion = {}) override;
    /// The share panel's callback: renders and sends to the picked route.
    void sendAction();
    /// The whole canvas (not only what is scrolled into view) at the
    /// screen's scale, with alpha; an empty image when it cannot be drawn.
    QImage renderCanvas();
    /// The card's note text and its report text (empty without a card).
    QString reportSummaryText() const;
    QString reportDetailsText() const;

protected:
    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;
    void traitCollectionDidChange(Appearance previous) override;
    void done() override;
    void keyboardWillShow(const KeyboardNotification &notification) override;
    void keyboardWillHide(const KeyboardNotification &notification) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void showBar(QWidget *bar);
    void refreshCard();
    void layoutCanvas();
    void applyColors();
    void setControlsShadowOpacity(double opacity);
    QPointF toStrokeLayer(QPointF editorPoint) const;
    bool isOverCanvas(QPointF editorPoint) const;
    void wheelScroll(qreal dy);
    void removeLayerGestures();
    void finishAnnotation();
    void placeAccessory();
    void animateLayout(const KeyboardNotification &notification);

    std::unique_ptr<Ui::PhotoEditorViewController> m_ui;
    QPointer<ControlsView> m_controlsView;
    QPointer<AnnotateControlsView> m_annotateControlsView;
    QPointer<MarkupControlsView> m_markupControlsView;
    QPointer<StickersControlsView> m_stickersControlsView;
    QGraphicsPixmapItem *m_imageView = nullptr; // owned by the scene
    QPointer<QWidget> m_deleteView;
    QPointer<CanvasScrollView> m_canvasScrollView;
    QPointer<QGraphicsScene> m_canvasView;
    StrokeLayerItem *m_canvasImageView = nullptr; // owned by the scene
    QPointer<MetadataView> m_metadataView;
    PhotoCanvas *m_canvas = nullptr; // a child of this editor
    QImage m_image;
    bool m_tracking = false;
    ObjectGestures *m_objectGestures = nullptr; // a child of this editor
    QList<QPointer<GestureRecognizer>> m_layerRecognizers;
};

} // namespace tessivo
