#include "DemoOptions.h"

#include <QCommandLineParser>

#include <cstdio>

std::optional<DemoOptions> DemoOptions::parse(const QCoreApplication &app, int &exitCode)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "A small host app for the Tessivo feedback kit. Open the kit with the\n"
        "Send feedback button or the gesture chosen with --gesture: with shake,\n"
        "move the pointer rapidly left and right or press Ctrl+Alt+F; with\n"
        "fourFingers, swipe down with four fingers on a touch screen.");
    parser.addHelpOption();
    parser.addOptions({
        {"gesture", "The trigger: shake or fourFingers (default shake).", "gesture", "shake"},
        {"testing-notes", "Text shown on the first-run testing notes screen.", "text"},
        {"screenshot-source", "Where screenshots come from: screen (default) or recording.",
         "source", "screen"},
        {"share-method", "Where reports go: shareSheet, trello or monday.", "method"},
        {"trello-list", "Trello list id (with --trello-key and --trello-token).", "id"},
        {"trello-key", "Trello API key.", "key"},
        {"trello-token", "Trello API token.", "token"},
        {"relay-url", "Base URL of a relay server. Without it (and without TESSIVO_RELAY_URL)\n"
                      "the demo starts a relay of its own on 127.0.0.1 with an inbox.", "url"},
        {"no-relay", "Do not start the demo's own relay."},
        {"headless-seconds", "Without a display, idle this long and exit instead of taking the tour.",
         "seconds", "3"},
        {"screenshots", "With --tour: save pictures of the kit and of the inbox into this folder.", "folder"},
        {"tour", "Drive the kit through every kind of report on its own (the default without a display)."},
    });
    parser.process(app);

    DemoOptions o;
    const QString gesture = parser.value("gesture");
    if (gesture == "shake") {
        o.gesture = tessivo::TessivoKit::FeedbackGesture::shake;
    } else if (gesture == "fourFingers") {
        o.gesture = tessivo::TessivoKit::FeedbackGesture::fourFingers;
    } else {
        std::fprintf(stderr, "tessivo-demo: --gesture must be shake or fourFingers, not \"%s\"\n",
                     qPrintable(gesture));
        exitCode = 2;
        return std::nullopt;
    }
    o.testingNotes = parser.isSet("testing-notes")
        ? parser.value("testing-notes")
        : QStringLiteral("Welcome to the demo. Try every kind of report: a screenshot with "
                         "markup, a video of the last ten seconds, and a note.");
    const QString source = parser.value("screenshot-source");
    if (source != "screen" && source != "recording") {
        std::fprintf(stderr, "tessivo-demo: --screenshot-source must be screen or recording\n");
        exitCode = 2;
        return std::nullopt;
    }
    o.screenshotFromRecording = source == "recording";
    if (parser.isSet("share-method")) {
        o.shareMethod = tessivo::shareMethodFromRawValue(parser.value("share-method"));
        if (!o.shareMethod) {
            std::fprintf(stderr, "tessivo-demo: --share-method must be shareSheet, trello or monday\n");
            exitCode = 2;
            return std::nullopt;
        }
    }
    o.trelloList = parser.value("trello-list");
    o.trelloKey = parser.value("trello-key");
    o.trelloToken = parser.value("trello-token");
    const int trelloParts = !o.trelloList.isEmpty() + !o.trelloKey.isEmpty() + !o.trelloToken.isEmpty();
    if (trelloParts != 0 && trelloParts != 3) {
        std::fprintf(stderr, "tessivo-demo: --trello-list, --trello-key and --trello-token go together\n");
        exitCode = 2;
        return std::nullopt;
    }
    o.relayUrl = parser.value("relay-url");
    o.noRelay = parser.isSet("no-relay");
    bool ok = false;
    o.headlessSeconds = parser.value("headless-seconds").toDouble(&ok);
    if (!ok || o.headlessSeconds < 0) {
        std::fprintf(stderr, "tessivo-demo: --headless-seconds takes a number of seconds\n");
        exitCode = 2;
        return std::nullopt;
    }
    o.tour = parser.isSet("tour");
    o.screenshotFolder = parser.value("screenshots");
    o.headlessSecondsGiven = parser.isSet("headless-seconds");
    return o;
}
