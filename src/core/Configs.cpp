#include "core/Configs.h"

namespace tessivo {

Configs::~Configs() = default;

TrelloConfigs::TrelloConfigs(QString idList, QString key, QString token)
    : m_shareMethod(ShareMethod::monday), idList(std::move(idList)), key(std::move(key)),
      token(std::move(token))
{
}

} // namespace tessivo
