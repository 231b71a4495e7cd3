// The kit's screen recorder and capture files (the doubled n is intended).
#pragma once

#include "tessivo_export.h"

#include <QObject>

namespace tessivo {

class TESSIVO_EXPORT CaptureMananger : public QObject
{
    Q_OBJECT
public:
    explicit CaptureMananger(QObject *parent = nullptr);
};

} // namespace tessivo
