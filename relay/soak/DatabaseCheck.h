// After the soak, with the relay stopped: the relay's SQLite database holds
// exactly the items and files the relay confirmed to the load generator,
// each file on the item it was paired with, byte for byte.
#pragma once

#include "LoadGenerator.h"

#include <QString>

namespace soak {

/// What the generator saw confirmed, as a file for the check.
bool writeState(const QString &path, const QList<CreatedItem> &items, const QList<StoredUpload> &uploads,
                QString *error);

/// Compares the database at `databasePath` with the state file; the
/// findings go to `report`. True when they agree.
bool checkDatabase(const QString &databasePath, const QString &statePath, QString *report);

} // namespace soak
