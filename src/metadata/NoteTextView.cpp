#include "metadata/NoteTextView.h"

#include "metadata/DeviceMetadata.h"
#include "metadata/NoteTypeCollectionViewCell.h"
#include "platform/ContentView.h"
#include "platform/Layer.h"

#include "ui_NoteTextView.h"

#include <QApplication>
#include <QClipboard>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>

namespace tessivo {
namespace {

// The translucent grey of the fields.
const QColor kFieldBackground(192, 192, 192, static_cast<int>(0.3 * 255 + 0.5));

/// Insets of the text inside a field: top, left, bottom, right.
void setTextContainerInset(QTextEdit *field, qreal top, qreal left, qreal bottom, qreal right)
{
    QTextFrameFormat format = field->document()->rootFrame()->frameFormat();
    format.setTopMargin(top);
    format.setLeftMargin(left);
    format.setBottomMargin(bottom);
    format.setRightMargin(right);
    field->document()->rootFrame()->setFrameFormat(format);
}

/// Replaces a field's text through a cursor, so that the document (and its
/// insets) is kept.
void replaceText(QTextEdit *field, const QString &text)
{
    QTextCursor cursor(field->document());
    cursor.select(QTextCursor::Document);
    cursor.insertText(text);
    field->setTextCursor(cursor);
}

void styleField(QTextEdit *field)
{
    field->setAcceptRichText(false);
    field->viewport()->setAutoFillBackground(false);
    Layer::of(field)->setBackgroundColor(kFieldBackground);
}

/// The text a key press puts in place of the selection, or nothing when
/// the key does not edit.
std::optional<QString> replacementFor(const QKeyEvent *key)
{
    if (key->matches(QKeySequence::Paste))
        return QApplication::clipboard()->text();
    switch (key->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return QStringLiteral("\n");
    case Qt::Key_Backspace:
    case Qt::Key_Delete:
        return QString();
    default:
        break;
    }
    const QString text = key->text();
    if (text.isEmpty() || !text.at(0).isPrint() || (key->modifiers() & Qt::ControlModifier))
        return std::nullopt;
    return text;
}

} // namespace

NoteTextView::NoteTextView(QWidget *parent) : QWidget(parent)
{
    Ui::NoteTextView ui;
    m_view = loadContentView(this, ui);
    m_infoLabel = requireOutlet(ui.infoLabel, "infoLabel");
    m_nameTextView = requireOutlet(ui.nameTextView, "nameTextView");
    m_noteTextView = requireOutlet(ui.noteTextView, "noteTextView");
    m_noteTypeCollectionView = requireOutlet(ui.noteTypeCollectionView, "noteTypeCollectionView");
    m_deviceTypeView = requireOutlet(ui.deviceTypeView, "deviceTypeView");
    m_iOSVersionView = requireOutlet(ui.iOSVersionView, "iOSVersionView");
    m_appVersionView = requireOutlet(ui.appVersionView, "appVersionView");

    for (QTextEdit *field : {m_nameTextView.data(), m_noteTextView.data()}) {
        styleField(field);
        field->installEventFilter(this);
    }
    setTextContainerInset(m_nameTextView, 10, 16, 0, 0);
    setTextContainerInset(m_noteTextView, 14, 16, 0, 0);

    setTag(m_deviceTypeView, metadata::deviceModelName());
    setTag(m_iOSVersionView, metadata::osVersionText());
    setTag(m_appVersionView, metadata::appVersionText());

    m_infoLabel->setText(QStringLiteral("Tessivo\nVersion: ") + metadata::frameworkVersion());
    m_infoLabel->setForegroundRole(QPalette::PlaceholderText);

    CollectionView *types = m_noteTypeCollectionView;
    types->registerCell(QString::fromLatin1(NoteTypeCollectionViewCell::kReuseIdentifier),
                        [](QWidget *parent) { return new NoteTypeCollectionViewCell(parent); });
    types->setDataSource({
        [this] { return numberOfItems(); },
        [this](int index) { return cellForItem(index); },
        [this](int index) { return sizeForItem(index); },
        [] { return QMargins(); },
    });
    connect(types, &CollectionView::didSelectItem, this, &NoteTextView::didSelectItem);
    connect(types, &CollectionView::didDeselectItem, this, &NoteTextView::didDeselectItem);
    types->reloadData();
}

void NoteTextView::setTag(TagView *tag, const QString &text)
{
    tag->configure(TagViewStyle::outline, text);
    tag->setFixedWidth(TagView::widthFor(text));
}

void NoteTextView::setMetadata(const CaptureInfo &metadata)
{
    m_metadata = metadata;
    m_noteTypeCollectionView->reloadData();
}

void NoteTextView::fillFields()
{
    replaceText(m_noteTextView, m_metadata.note.isEmpty() ? m_notePlaceholder : m_metadata.note);
    replaceText(m_nameTextView, m_metadata.author.isEmpty() ? m_namePlaceholder : m_metadata.author);
}

NoteTextViewDelegate *NoteTextView::delegate() const
{
    if (m_delegateIsObject && !m_delegateObject)
        return nullptr;
    return m_delegate;
}

void NoteTextView::setDelegate(NoteTextViewDelegate *delegate)
{
    m_delegate = delegate;
    m_delegateObject = dynamic_cast<QObject *>(delegate);
    m_delegateIsObject = m_delegateObject != nullptr;
}

bool NoteTextView::textViewShouldChangeText(QTextEdit *textView, const QString &replacementText)
{
    if (textView == m_nameTextView && textView->toPlainText() == m_namePlaceholder)
        replaceText(textView, QString());
    else if (textView == m_noteTextView && textView->toPlainText() == m_notePlaceholder)
        replaceText(textView, QString());

    // The return still goes into the name: the focus moves, the edit stays.
    if (textView == m_nameTextView && replacementText == QLatin1String("\n"))
        m_noteTextView->setFocus(Qt::OtherFocusReason);
    return true;
}

bool NoteTextView::eventFilter(QObject *watched, QEvent *event)
{
    auto *field = qobject_cast<QTextEdit *>(watched);
    if (field && (field == m_nameTextView || field == m_noteTextView) && !field->isReadOnly()) {
        if (event->type() == QEvent::KeyPress) {
            if (const auto replacement = replacementFor(static_cast<QKeyEvent *>(event)))
                return !textViewShouldChangeText(field, *replacement);
        } else if (event->type() == QEvent::InputMethod) {
            const auto *input = static_cast<QInputMethodEvent *>(event);
            if (!input->commitString().isEmpty())
                return !textViewShouldChangeText(field, input->commitString());
        }
    }
    return QWidget::eventFilter(watched, event);
}

int NoteTextView::numberOfItems() const
{
    return static_cast<int>(noteTypes().size());
}

CollectionViewCell *NoteTextView::cellForItem(int index)
{
    auto *cell = static_cast<NoteTypeCollectionViewCell *>(m_noteTypeCollectionView->dequeueReusableCell(
        QString::fromLatin1(NoteTypeCollectionViewCell::kReuseIdentifier), index));
    const QString &type = noteTypes().at(index);
    cell->setSelected(false);
    cell->setTagString(type);
    if (m_metadata.selectedNoteTypes.contains(type)) {
        cell->setSelected(true);
        m_noteTypeCollectionView->selectItem(index);
    }
    return cell;
}

QSize NoteTextView::sizeForItem(int index) const
{
    return {TagView::widthFor(noteTypes().at(index)), m_noteTypeCollectionView->height()};
}

void NoteTextView::didSelectItem(int index)
{
    auto *cell = m_noteTypeCollectionView->cellForItem(index);
    if (!cell)
        return;
    cell->setSelected(true);
    if (NoteTextViewDelegate *d = delegate())
        d->noteTypeSelected(index);
    Q_EMIT noteTypeSelected(index);
}

void NoteTextView::didDeselectItem(int index)
{
    auto *cell = m_noteTypeCollectionView->cellForItem(index);
    if (!cell)
        return;
    cell->setSelected(false);
    if (NoteTextViewDelegate *d = delegate())
        d->noteTypeDeselected(index);
    Q_EMIT noteTypeDeselected(index);
}

} // namespace tessivo
