#include "RandomId.h"

#include <QByteArray>
#include <QRandomGenerator>

namespace relay {

QString randomHex(int bytes)
{
    QByteArray raw(bytes, Qt::Uninitialized);
    for (int i = 0; i < bytes; ++i)
        raw[i] = char(QRandomGenerator::system()->bounded(256));
    return QString::fromLatin1(raw.toHex());
}

} // namespace relay
