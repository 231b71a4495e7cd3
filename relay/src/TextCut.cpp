#include "TextCut.h"

#include <QTextBoundaryFinder>

namespace relay {

QString cutText(const QString &text, int maxLength)
{
    if (text.size() <= maxLength)
        return text;
    const QChar ellipsis(0x2026);
    const qsizetype room = qMax(1, maxLength - 1);
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    graphemes.setPosition(room);
    qsizetype end = graphemes.isAtBoundary() ? room : graphemes.toPreviousBoundary();
    if (end <= 0) {
        // One cluster longer than the room (a pile of combining marks): cut
        // between code points instead.
        end = room;
        if (text.at(end - 1).isHighSurrogate() && text.at(end).isLowSurrogate())
            --end;
    }
    return text.left(end) + ellipsis;
}

} // namespace relay
