// The administration commands: products (add, list, remove) and the inbox
// admin token. They work on the database directly, so they run beside a
// running relay (SQLite in WAL mode, or PostgreSQL).
#pragma once

#include "RelayConfig.h"

#include <QStringList>
#include <QTextStream>

namespace relay {

class AdminCli
{
public:
    AdminCli(const RelayConfig &config, QTextStream &out, QTextStream &err);
    /// Runs `command` with its `arguments`; returns the exit code.
    int run(const QString &command, const QStringList &arguments);
    static QString usage();

private:
    int product(const QStringList &arguments);
    int adminToken();

    const RelayConfig &m_config;
    QTextStream &m_out;
    QTextStream &m_err;
};

} // namespace relay
