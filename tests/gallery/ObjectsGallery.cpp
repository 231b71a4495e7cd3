// The canvas objects: the sticker strip, every sticker as placed, and an
// edited screenshot with stickers and text annotations.
#include "Gallery.h"

#include "photo/PhotoEditorViewController.h"
#include "photo/StickerView.h"
#include "platform/UserDefaults.h"

#include <QApplication>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QTest>
#include <QVBoxLayout>

namespace tessivo::gallery {
namespace {

QWidget *strip(Appearance)
{
    auto *window = new QWidget;
    auto *layout = new QVBoxLayout(window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addStretch();
    auto *picker = new StickersControlsView(window);
    layout->addWidget(picker);
    return window;
}

/// All stickers as they are placed (0.45 scale), in a grid.
QWidget *catalogue(Appearance)
{
    auto *view = new QGraphicsView;
    auto *scene = new QGraphicsScene(view);
    scene->setBackgroundBrush(QColor(236, 238, 242));
    const QList<Sticker> stickers = Sticker::catalogue();
    for (int i = 0; i < stickers.size(); ++i) {
        auto *sticker = new StickerView(QRectF(0, 0, StickerView::kWidth, StickerView::kHeight));
        sticker->applyStyle(true);
        sticker->setTransform(QTransform::fromScale(StickerView::kPlacedScale, StickerView::kPlacedScale));
        Sticker each = stickers[i];
        if (each.isSmartLetter)
            each.smartLetter = QStringLiteral("A");
        sticker->setSticker(each);
        sticker->setCenter(QPointF(110 + (i % 4) * 200, 100 + (i / 4) * 175));
        scene->addItem(sticker);
    }
    scene->setSceneRect(0, 0, 800, 700);
    view->setScene(scene);
    view->setFrameShape(QFrame::NoFrame);
    view->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return view;
}

QWidget *editedCanvas(Appearance appearance)
{
    qApp->setProperty("CFBundleDisplayName", QStringLiteral("Harbor Notes"));
    UserDefaults::standard().setString(QStringLiteral("Ann Whitfield"), QStringLiteral("noteAuthor"));
    QWidget *window = hostWindow(QSize(390, 760), appearance);
    window->resize(390, 760);
    window->show();
    settle();
    auto *editor = new PhotoEditorViewController;
    editor->setImage(window->grab().toImage());
    editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    ViewController::rootOf(window)->present(editor, false);
    settle();

    editor->annotateTapped();
    QTest::keyClicks(editor->canvasScrollView(), "Title is cut off");
    editor->toolbar()->hide();
    editor->leaveTool();
    editor->stickersTapped();
    settle();
    StickersControlsView *picker = editor->stickersControlsView();
    const QPointF middle = editor->canvasImageView()->boundingRect().center();
    auto place = [&](int item, QPointF offset, qreal degrees, qreal scale) {
        picker->selectItem(item);
        StickerView *placed = nullptr;
        for (QGraphicsItem *child : editor->canvasImageView()->childItems()) {
            if (auto *sticker = qobject_cast<StickerView *>(child->toGraphicsObject());
                sticker && (!placed || sticker->zValue() >= placed->zValue()))
                placed = sticker;
        }
        placed->setCenter(middle + offset);
        placed->setTransform(QTransform().rotate(degrees) * QTransform::fromScale(scale, scale));
    };
    place(0, QPointF(-120, -250), 0, 0.3);   // A
    place(0, QPointF(130, -60), 0, 0.3);     // B
    place(7, QPointF(60, -250), 0, 0.35);    // arrow left, at the title
    place(4, QPointF(-90, 20), -12, 0.45);   // wrong
    place(1, QPointF(90, 120), 10, 0.5);     // approved
    settle();
    return window;
}

const bool entries = [] {
    gallery::add({QStringLiteral("StickersControlsView-strip"), QSize(390, 110), strip});
    gallery::add({QStringLiteral("StickerView-catalogue"), QSize(800, 700), catalogue});
    gallery::add({QStringLiteral("PhotoEditorViewController-objects"), QSize(390, 760), editedCanvas});
    return true;
}();

} // namespace
} // namespace tessivo::gallery
