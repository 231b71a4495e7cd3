// The three endpoints the kit uses: the product id lookup, the add-item call
// and the file upload, for both sinks (monday and the relay's own inbox).
#pragma once

#include "HttpExchange.h"
#include "RelayConfig.h"

namespace relay {

class ItemStore;
class MondaySink;
class ProductStore;
class RateLimiter;

class ReportService
{
public:
    ReportService(const RelayConfig &config, ProductStore &products, ItemStore &items, MondaySink &monday,
                  RateLimiter &productLimiter);

    void productId(const HttpExchange &exchange, const Respond &respond);
    void addItem(const HttpExchange &exchange, const Respond &respond);
    void uploadFile(const HttpExchange &exchange, const Respond &respond);

private:
    bool limitProduct(const QString &productId, const Respond &respond);

    const RelayConfig &m_config;
    ProductStore &m_products;
    ItemStore &m_items;
    MondaySink &m_monday;
    RateLimiter &m_productLimiter;
};

} // namespace relay
