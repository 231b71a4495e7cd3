// The panel in which the tester writes a report: a name field over a note
// field, the note-type tags to pick from, three read-only tags for the
// device, the OS and the host app's version, and the kit's name and
// version. Empty fields show their placeholder as ordinary text.
#pragma once

#include "core/CaptureInfo.h"
#include "metadata/CollectionView.h"
#include "metadata/NoteTextViewDelegate.h"
#include "metadata/TagView.h"
#include "tessivo_export.h"

#include <QLabel>
#include <QPointer>
#include <QTextEdit>
#include <QWidget>

namespace tessivo {

class NoteTypeCollectionViewCell;

class TESSIVO_EXPORT NoteTextView : public QWidget
{
    Q_OBJECT
public:
    explicit NoteTextView(QWidget *parent = nullptr);

    CaptureInfo metadata() const { return m_metadata; }
    /// Stores the record and shows its note types (selected ones marked).
    /// The fields change only with fillFields().
    void setMetadata(const CaptureInfo &metadata);
    /// Writes the record's note and author into the fields, or the
    /// placeholders where they are empty.
    void fillFields();

    QString namePlaceholder() const { return m_namePlaceholder; }
    void setNamePlaceholder(const QString &text) { m_namePlaceholder = text; }
    QString notePlaceholder() const { return m_notePlaceholder; }
    void setNotePlaceholder(const QString &text) { m_notePlaceholder = text; }

    /// The delegate is weak: a QObject delegate that is destroyed is
    /// forgotten. Picks are also emitted as signals.
    NoteTextViewDelegate *delegate() const;
    void setDelegate(NoteTextViewDelegate *delegate);

    /// Runs before every edit of a field with the text that replaces the
    /// selection ("\n" for return, "" for a deletion): clears a placeholder
    /// at the first keystroke and, on return in the name field, moves the
    /// focus to the note field. The edit is always allowed.
    bool textViewShouldChangeText(QTextEdit *textView, const QString &replacementText);

    // Outlets.
    QWidget *view() const { return m_view; }
    QLabel *infoLabel() const { return m_infoLabel; }
    QTextEdit *nameTextView() const { return m_nameTextView; }
    QTextEdit *noteTextView() const { return m_noteTextView; }
    CollectionView *noteTypeCollectionView() const { return m_noteTypeCollectionView; }
    TagView *deviceTypeView() const { return m_deviceTypeView; }
    TagView *iOSVersionView() const { return m_iOSVersionView; }
    TagView *appVersionView() const { return m_appVersionView; }

Q_SIGNALS:
    void noteTypeSelected(int index);
    void noteTypeDeselected(int index);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // The note-type collection's data source and delegate.
    int numberOfItems() const;
    CollectionViewCell *cellForItem(int index);
    QSize sizeForItem(int index) const;
    void didSelectItem(int index);
    void didDeselectItem(int index);

    void setTag(TagView *tag, const QString &text);

    QPointer<QWidget> m_view;
    QPointer<QLabel> m_infoLabel;
    QPointer<QTextEdit> m_nameTextView;
    QPointer<QTextEdit> m_noteTextView;
    QPointer<CollectionView> m_noteTypeCollectionView;
    QPointer<TagView> m_deviceTypeView;
    QPointer<TagView> m_iOSVersionView;
    QPointer<TagView> m_appVersionView;
    NoteTextViewDelegate *m_delegate = nullptr;
    QPointer<QObject> m_delegateObject;
    bool m_delegateIsObject = false;
    CaptureInfo m_metadata;
    QString m_namePlaceholder = QStringLiteral("Name: ");
    QString m_notePlaceholder = QStringLiteral("Note: ");
};

} // namespace tessivo
