#include "capture/CaptureMananger.h"

namespace tessivo {

CaptureMananger::CaptureMananger(QObject *parent) : QObject(parent) {}

} // namespace tessivo
