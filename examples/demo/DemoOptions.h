// The demo's command line.
#pragma once

#include "core/TessivoKit.h"

#include <QCoreApplication>
#include <QString>

#include <optional>

struct DemoOptions {
    tessivo::TessivoKit::FeedbackGesture gesture = tessivo::TessivoKit::FeedbackGesture::shake;
    QString testingNotes;
    bool screenshotFromRecording = false;
    std::optional<tessivo::ShareMethod> shareMethod;
    QString trelloList, trelloKey, trelloToken;
    QString relayUrl;
    bool noRelay = false;
    double headlessSeconds = 3.0;
    bool tour = false;
    QString screenshotFolder;
    bool headlessSecondsGiven = false;

    /// Parses the arguments; prints help or an error and returns nothing
    /// when the demo should exit with `exitCode`.
    static std::optional<DemoOptions> parse(const QCoreApplication &app, int &exitCode);
};
