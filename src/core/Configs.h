// The options a host passes to TessivoKit::initialize.
#pragma once

#include "core/ShareMethod.h"
#include "tessivo_export.h"

#include <QString>

namespace tessivo {

/// Any backend configuration: it names the share method to start with.
class TESSIVO_EXPORT Configs
{
public:
    virtual ~Configs();
    virtual ShareMethod shareMethod() const = 0;
};

/// The Trello list and credentials. The constructor starts the share method
/// at monday, not trello: a host that wants Trello sets it afterwards.
class TESSIVO_EXPORT TrelloConfigs final : public Configs
{
public:
    TrelloConfigs(QString idList, QString key, QString token);

    ShareMethod shareMethod() const override { return m_shareMethod; }
    void setShareMethod(ShareMethod method) { m_shareMethod = method; }

private:
    ShareMethod m_shareMethod = ShareMethod::monday;

public:
    QString idList;
    QString key;
    QString token;
};

} // namespace tessivo
