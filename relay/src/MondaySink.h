// The monday sink: creates items, posts updates on them and attaches files
// through monday's API (GraphQL at the API URL, multipart uploads at the file
// URL), with the product's token in the Authorization header. Errors,
// GraphQL's included, come back as a code and a message that never hold the
// token.
#pragma once

#include "ProductStore.h"
#include "UpstreamClient.h"

#include <QByteArray>
#include <QString>

#include <functional>

namespace relay {

struct MondayResult {
    bool ok = false;
    QString id;      // the created item or asset id
    QString code;    // on failure: monday's error code, or UPSTREAM_TIMEOUT, HTTP_401, ...
    QString message; // on failure: a short text for the log
};

class MondaySink
{
public:
    MondaySink(UpstreamClient *upstream, QString apiUrl, QString fileUrl);

    /// The longest item name monday takes, in characters.
    static constexpr int kMaxItemNameLength = 255;

    /// create_item on the product's board and group.
    void createItem(const Product &product, const QString &itemName,
                    std::function<void(MondayResult)> done);
    /// create_update on item `itemId`: `text` as the update's body.
    void createUpdate(const Product &product, const QString &itemId, const QString &text,
                      std::function<void(MondayResult)> done);
    /// add_file_to_column on the product's file column of item `itemId`.
    void addFile(const Product &product, const QString &itemId, const QString &fileName,
                 const QByteArray &mimeType, const QByteArray &data, std::function<void(MondayResult)> done);

    /// The name an item of `text` gets on monday: `text` cut to
    /// kMaxItemNameLength characters, with "…" at the cut.
    static QString itemNameFor(const QString &text);
    /// An update's body for `text`: monday reads it as HTML, so the text is
    /// escaped and its line breaks become <br>.
    static QString updateBodyFor(const QString &text);
    /// True for ids that may be written into a GraphQL text as they are.
    static bool isSafeId(const QString &id);
    /// Reads monday's answer: data at `path` (e.g. "create_item") or errors.
    static MondayResult readAnswer(int httpStatus, const QByteArray &body, const char *field);

private:
    void post(const QString &url, const UpstreamClient::Headers &headers, const QByteArray &body, const char *field,
              std::function<void(MondayResult)> done);

    UpstreamClient *m_upstream;
    QString m_apiUrl;
    QString m_fileUrl;
};

} // namespace relay
