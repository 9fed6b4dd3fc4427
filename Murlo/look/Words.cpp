#include "look/Words.h"

#include <QGuiApplication>
#include <QLocale>
#include <QTranslator>

#include <array>
#include <utility>

/// Has the linker keep the translations. Outside of any namespace, as Qt wants it.
static void keepTranslations() {
    Q_INIT_RESOURCE(translations);
}

namespace murlo::Words {

namespace {

/// In the order of `Word`. A translation may put the numbered places elsewhere.
constexpr std::array texts{
    "Microphone access is off. Turn it on in System Settings, under Privacy & Security.",
    "No microphone found. Check System Settings → Sound → Input.",
    "This microphone's audio format isn't supported.",
    "The microphone changed while starting. Try again.",
    "The speech engine took too long to start. Try Restart in Settings, under Speech.",
    "The speech engine is missing from the app. Reinstall Murlo.",
    "No speech model installed yet. Relaunch Murlo to download it.",
    "Could not start the speech engine.",
    "The speech engine did not start in time. Try Restart in Settings, under Speech.",
    "The speech engine keeps stopping (code %1). Open Settings, under Speech.",
    "The speech engine returned nothing.",
    "Speech engine error %1",
    "Speech engine error %1: %2",
    "Answers take long with this speech model. Settings has a faster one.",
    "%1",
    "Copied to clipboard.",
    "Nothing was transcribed.",
    "Copy-only mode is on.",
    "No text box has focus. Click into one and paste with ⌘V.",
    "Keys can't be sent to other programs, so the text was copied instead.",
    "Accessibility access is off, so text boxes can't be found. "
    "The command murlo --enable-accessibility turns it on.",
    "A password field somewhere is blocking shortcuts. Click elsewhere and try again.",
    "No text boxes found on screen.",
    "%1 shows its own when started with --force-renderer-accessibility.",
    "That text box just disappeared. Try again.",
    "Dictation",
    "Transcribing…",
    "Enhancing…",
    "Inserted",
    "Start Dictation  (double-tap %1)",
    "Stop Dictation",
    "Engine: stopped",
    "Engine: loading model…",
    "Engine: ready",
    "Engine: %1",
    "Use a Faster Speech Model  (%1)",
    "Speech Model",
    "Speech Model…",
    "Runs on",
    "Fastest device",
    "Fastest device (%1)",
    "Processor",
    "%1 failed and is set aside.",
    "Try Again",
    "about %1 s for a sentence",
    "%1 MB",
    "recommended for this computer",
    "English only",
    "This speech model hears English only. Choose another one for the language that you speak.",
    "Download",
    "Download %1",
    "Pause",
    "Delete",
    "Delete %1",
    "%1 % ·",
    "Recent",
    "Finish setup…",
    "Open Murlo…",
    "Run Self-Test…",
    "Open Log",
    "Update to %1…",
    "Murlo %1",
    "Quit Murlo",
    "Murlo lives up here.",
    "Murlo lives down here.",
    "Click for settings, history and your shortcuts.",
    "The log can't be opened here. It is %1",
    "Connecting…",
    "almost done",
    "about 1 minute left",
    "about %1 minutes left",
    "No internet connection. Check your Wi-Fi and try again.",
    "The connection timed out. Check your Wi-Fi and try again.",
    "Couldn't reach the server. Check your Wi-Fi and try again.",
    "Something went wrong. Please try again.",
    "The download was blocked. If you're on a work or school network, try another connection.",
    "The download server had a problem. Please try again.",
    "Couldn't save the speech engine. Please try again.",
    "Murlo needs about %1 GB free so everything can run on your Mac, offline. Free up some space "
    "and try again.",
    "This file is not a speech model that Murlo can use.",
    "This file can't be read.",
    "Quit Murlo?",
    "Your double-tap shortcut stops working until you open Murlo again.",
    "Cancel",
    "Quit",
    "Hide Murlo",
    "Edit",
    "Cut",
    "Copy",
    "Paste",
    "Select All",
    "Window",
    "Close",
    "Sign-in was cancelled.",
    "%1 returned something unexpected. Try again.",
    "The sign-in page returned something unexpected. Try again.",
    "Couldn't open the sign-in browser. Try again.",
    "Another user of this computer has the port of the account page. The line "
    "backend = http://127.0.0.1:8767 in ~/.config/murlo/murlo.conf moves yours.",
    "You've been signed out because you signed in on another Mac.",
    "We couldn't finish setting up your account. Please sign in again.",
    "Signed in as %1",
    "Signed in",
    "Log Out",
    "Continue with %1",
    "Continue",
    "The account stays on this computer.",
    "What you dictate is recognised on this computer. The account is on %1.",
    "Sign in to get started",
    "Enhance",
    "Turns a rambling thought into a clear, structured prompt, shaped for wherever you are typing "
    "it.",
    "Finish signing in in your browser",
    "The page is open there. When you are done, it brings you back here.",
    "Open Again",
    "Copy Address",
    "Restart",
    "Restart the speech engine",
    "Recent dictations",
    "What you dictate appears here.",
    "Double-tap the shortcut in any text box, speak, and double-tap again. Or hold the second tap "
    "while you speak.",
    "The shortcut is off: nobody is signed in, or key presses cannot be seen on this desktop.",
    "Warming up the speech engine. One moment.",
    "Waiting for the shortcut to go live…",
    "None done yet",
    "All three on",
    "%1 of %2 done",
    "Murlo",
    "Speak softly. Type everywhere.",
    "Runs entirely on your Mac. Nothing leaves it.",
    "Speech is recognised on your Mac.",
    "Get Started",
    "Your account syncs your settings across Macs and unlocks enhance mode. Dictation itself never "
    "leaves this Mac.",
    "Your account stays on this computer and unlocks enhance mode. Dictation itself never leaves "
    "it.",
    "Setting up Murlo",
    "Downloading the speech engine. This happens once.",
    "After this, everything runs on your Mac, offline.",
    "Download progress",
    "I have a model file…",
    "Three permissions and you're done",
    "macOS requires these for any dictation app. Each one opens System Settings. Flip the switch "
    "for Murlo, then come back.",
    "Microphone",
    "Hears what you say.",
    "Microphone access was turned down. Open System Settings and switch Murlo on.",
    "Accessibility",
    "Types the text into the box for you.",
    "Murlo only uses this to put your words into the box. It never reads your screen.",
    "Input Monitoring",
    "Notices the double-tap in any app.",
    "This is a Wayland session, which shows no program the keys of others. To use the double-tap, "
    "log out and choose a session on X11 (“Xorg”) when you log in.",
    "This desktop shows no program the keys of others, so the double-tap can't be noticed.",
    "Grant",
    "Grant %1",
    "Not now",
    "Without it your words still go where you type, but no letters appear over text boxes.",
    "On",
    "Off",
    "Restart Murlo",
    "Step %1 of 3",
    "Your words appear here",
    "Click the box below",
    "Now double-tap **%1** and just talk",
    "Talking? Double-tap **%1** again to stop",
    "One moment…",
    "Nothing landed? Double-tap **%1** and try again",
    "Or hold the second tap and talk, then let go when you're done.",
    "That's it. You're ready.",
    "Next",
    "Double-tap **%1**",
    "Letters will pop up over every text box on screen. That's the point.",
    "Press the letter that appears here",
    "Press the letter shown on the box below",
    "That letter belonged to another app. Double-tap **%1** and look for the letter on this box.",
    "Talk, then double-tap to stop",
    "That's the whole trick.",
    "Having trouble? Continue anyway",
    "You're ready",
    "Double-tap **%1** to talk into the box you're in.",
    "Double-tap **%1** to pick any box on screen.",
    "Murlo starts with your Mac. Turn that off in settings any time.",
    "This desktop has no tray. To get to settings and history, open Murlo again.",
    "Start Using Murlo",
    "Show me the basics again",
    "Murlo Self-Test",
    "Press Start, then say something for about three seconds. Murlo will show you exactly what it "
    "heard.",
    "Start",
    "OK",
    "Input Monitoring — needed for the double-tap",
    "Accessibility — needed to paste into apps",
    "Engine not ready",
    "Stopped.",
    "Still loading the speech model. Wait a moment and try again.",
    "Microphone failed",
    "No audio captured",
    "The microphone produced no sound. Check System Settings → Sound → Input.",
    "Transcription failed",
    "Everything works",
    "Heard: “%1”",
    "Transcribed in %1 seconds.",
    "Heard nothing",
    "Audio was captured (%1 KB) but no words were recognised. Try speaking louder or closer to the "
    "mic.",
    "Move Murlo to your Applications folder",
    "Murlo is running from the disk image. macOS blocks keyboard permissions for apps opened this "
    "way, so the shortcuts cannot work.",
    "Move it to Applications and Murlo will reopen from there.",
    "Move to Applications",
    "Could not move Murlo",
    "Drag Murlo.app onto the Applications folder yourself, then open it from there.",
    "Right ⌘",
    "Left ⌘",
    "Right ⌥",
    "Left ⌥",
    "Right ⇧",
    "Left ⇧",
    "Right ⌃",
    "Fn / 🌐",
};
static_assert(texts.size() == static_cast<std::size_t>(Word::count));

const char* text(Word word) {
    return texts.at(static_cast<std::size_t>(word));
}

/// What things are called on this desktop.
QString ofThisDesktop(QString words) {
    static const std::pair<QString, QString> table[] = {
        {QStringLiteral("macOS requires these for any dictation app. Each one opens System "
                        "Settings. Flip the switch for Murlo, then come back."),
         QStringLiteral("Every dictation program needs these. What your desktop allows by itself "
                        "is on already; Grant asks for the rest.")},
        {QStringLiteral("Types the text into the box for you."),
         QStringLiteral("Finds the text boxes that your words go into.")},
        {QStringLiteral("needed to paste into apps"), QStringLiteral("needed to find text boxes")},
        {QStringLiteral("System Settings"), QStringLiteral("Settings")},
        {QStringLiteral("across Macs"), QStringLiteral("across computers")},
        {QStringLiteral("this Mac"), QStringLiteral("this computer")},
        {QStringLiteral("your Mac"), QStringLiteral("your computer")},
        {QStringLiteral("another Mac"), QStringLiteral("another computer")},
        {QStringLiteral("your Wi-Fi"), QStringLiteral("your network")},
        {QStringLiteral("⌘V"), QStringLiteral("Ctrl+V")},
    };
    for (const auto& [theirs, ours] : table) words.replace(theirs, ours);
    return words;
}

/// Inserts all arguments at once, so that a "%1" in one of them is not replaced.
QString filled(const QString& text, const QStringList& arguments) {
    switch (arguments.size()) {
    case 0:
        return text;
    case 1:
        return text.arg(arguments[0]);
    default:
        return text.arg(arguments[0], arguments[1]);
    }
}

template <typename Speak>
QString joined(const Message& message, Speak speak) {
    QStringList sentences;
    for (const auto& sentence : message.sentences)
        sentences.append(filled(speak(text(sentence.word)), sentence.arguments));
    return sentences.join(QLatin1Char(' '));
}

} // namespace

Word nameOf(TriggerKey key) {
    return static_cast<Word>(static_cast<int>(Word::rightCommandKey) + static_cast<int>(key));
}

QString english(const Message& message) {
    return joined(message, [](const char* text) { return QString::fromUtf8(text); });
}

QString forReport(const Message& message) {
    Message bare = message;
    for (auto& sentence : bare.sentences) {
        for (QString& argument : sentence.arguments) {
            bool isNumber = false;
            argument.toInt(&isNumber);
            if (!isNumber) argument = QStringLiteral("…");
        }
    }
    return english(bare);
}

QString shown(const Message& message) {
    return joined(message, [](const char* text) {
        return ofThisDesktop(QCoreApplication::translate("Words", text));
    });
}

void speak(const QLocale& locale) {
    keepTranslations();
    static QTranslator translator;
    QCoreApplication::removeTranslator(&translator);
    const bool speaks = translator.load(locale, QStringLiteral("murlo"), QStringLiteral("_"),
                                        QStringLiteral(":/translations"));
    if (speaks) QCoreApplication::installTranslator(&translator);
    // The layout follows the language of the texts, which may differ from the locale's.
    QGuiApplication::setLayoutDirection(speaks ? locale.textDirection() : Qt::LeftToRight);
}

} // namespace murlo::Words
