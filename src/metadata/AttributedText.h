// Text made of runs, each with its own font and, optionally, colour.
// Labels show it as rich text; reports use its plain string.
#pragma once

#include "tessivo_export.h"

#include <QColor>
#include <QFont>
#include <QList>
#include <QString>

#include <optional>

namespace tessivo {

struct TextRun {
    QString text;
    QFont font;
    std::optional<QColor> color;
};

class TESSIVO_EXPORT AttributedText
{
public:
    AttributedText &append(const QString &text, const QFont &font,
                           std::optional<QColor> color = std::nullopt);

    const QList<TextRun> &runs() const { return m_runs; }
    /// The runs' texts joined.
    QString string() const;
    bool isEmpty() const { return string().isEmpty(); }
    /// HTML for a rich-text QLabel: each run a span with its weight, size
    /// and colour; line breaks kept.
    QString toHtml() const;

private:
    QList<TextRun> m_runs;
};

} // namespace tessivo
