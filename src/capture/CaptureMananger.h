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

    /// The video report and the still-frame screenshot; each says whether
    /// it can run at all in this build.
    bool canProduceVideoFeedback() const { return false; }
    void produceVideoFeedback() {}
    bool canProduceScreenshotFromRecording() const { return false; }
    void produceScreenshotFromRecording() {}
};

} // namespace tessivo
