// What an editor hands to delivery: the content and the card's texts.
#pragma once

#include <QImage>
#include <QString>
#include <QUrl>

#include <optional>

namespace tessivo {

struct Report {
    std::optional<QImage> image;   // the rendered report, if any
    std::optional<QUrl> fileURL;   // a report file (the merged video), if any
    QString fileName;              // the attachment's name ("note.png", ...)
    QString summary;               // the card's note text: card or item name
    QString details;               // the card's report summary: description
    bool closeAfter = false;       // close the editor before the result alert

    bool hasAttachment() const { return (image && !image->isNull()) || fileURL; }
};

} // namespace tessivo
