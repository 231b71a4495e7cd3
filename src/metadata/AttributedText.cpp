#include "metadata/AttributedText.h"

namespace tessivo {

AttributedText &AttributedText::append(const QString &text, const QFont &font,
                                       std::optional<QColor> color)
{
    if (!text.isEmpty())
        m_runs.append({text, font, color});
    return *this;
}

QString AttributedText::string() const
{
    QString all;
    for (const TextRun &run : m_runs)
        all += run.text;
    return all;
}

QString AttributedText::toHtml() const
{
    QString html;
    for (const TextRun &run : m_runs) {
        QString style = QStringLiteral("white-space:pre-wrap;font-weight:%1;").arg(run.font.weight());
        if (run.font.pixelSize() > 0)
            style += QStringLiteral("font-size:%1px;").arg(run.font.pixelSize());
        else if (run.font.pointSizeF() > 0)
            style += QStringLiteral("font-size:%1pt;").arg(run.font.pointSizeF());
        if (run.color && run.color->isValid())
            style += QStringLiteral("color:%1;").arg(run.color->name(QColor::HexArgb));
        QString text = run.text.toHtmlEscaped();
        text.replace(QLatin1Char('\n'), QLatin1String("<br/>"));
        html += QStringLiteral("<span style=\"%1\">%2</span>").arg(style, text);
    }
    return html;
}

} // namespace tessivo
