#include "tools/demo/DemoOptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

namespace murlo {

namespace {

const QString defaultText = QStringLiteral("Press the search bar to start dictation.");
/// With something that whoever rewrites it takes out.
const QString defaultRambling = QStringLiteral("Press the search bar to start to start dictation.");

QCommandLineOption option(const char* name, const char* help, const char* value,
                          const QString& fallback = {}) {
    return {QLatin1String(name), QLatin1String(help), QLatin1String(value), fallback};
}

void describe(QCommandLineParser& parser) {
    parser.setApplicationDescription(QStringLiteral(
        "Dictates into another program: plays speech into a virtual microphone, double-taps Left "
        "Shift, and compares what lands in the program's text box with Murlo's history."));
    parser.addOptions({
        option("say", "Speak TEXT (the default is a short sentence).", "TEXT"),
        option("wav", "Play the recording FILE instead.", "FILE"),
        option("app", "Dictate into gtk-entry, editor, terminal or browser.", "APP",
               QStringLiteral("gtk-entry")),
        option("mode", "Deliver by paste, type or clipboardOnly.", "MODE", QStringLiteral("paste")),
        option("trigger",
               "toggle: double-tap, speak, double-tap. hold: keep the second tap down. pick: "
               "double-tap Right Shift in another window, press the box's letter, speak.",
               "TRIGGER", QStringLiteral("toggle")),
        option("letter", "The letter to press (the default is the one on APP's box).", "X"),
        option("model", "Use the speech model in PATH.", "PATH"),
        option("screenshots", "Save pictures of the screen in the folder DIR.", "DIR"),
        {QStringLiteral("enhance"),
         QStringLiteral("Sign in first, with a real browser and the backend of this computer, and "
                        "have the text rewritten. Always in a virtual desktop.")},
        {QStringLiteral("virtual"),
         QStringLiteral("Use a virtual desktop even if there is a display.")},
    });
    QCommandLineOption murlo = option("murlo", "", "PROGRAM");
    QCommandLineOption model = option("default-model", "", "PATH");
    murlo.setFlags(QCommandLineOption::HiddenFromHelp);
    model.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({murlo, model});
    parser.addHelpOption();
}

/// An existing file's absolute path.
tl::expected<QString, QString> existing(const QString& option, const QString& path) {
    const QFileInfo file(path);
    if (!file.isFile() || !file.isReadable())
        return tl::unexpected(QStringLiteral("--%1: there is no file %2.").arg(option, path));
    return file.absoluteFilePath();
}

tl::expected<void, QString> oneOf(const char* option, const QString& value, const char* values) {
    const QStringList all = QString::fromLatin1(values).split(QLatin1Char(' '));
    if (all.contains(value)) return {};
    return tl::unexpected(QStringLiteral("--%1 is one of %2, not \"%3\".")
                              .arg(QLatin1String(option), all.join(QStringLiteral(", ")), value));
}

} // namespace

tl::expected<DemoOptions, QString> parseDemoOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    describe(parser);
    if (!parser.parse(arguments)) return tl::unexpected(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) parser.showHelp();
    const auto value = [&](const char* name) { return parser.value(QLatin1String(name)); };
    if (!parser.positionalArguments().isEmpty()) {
        return tl::unexpected(QStringLiteral("What is \"%1\"? --help lists the options.")
                                  .arg(parser.positionalArguments().constFirst()));
    }
    DemoOptions options;
    options.appName = value("app");
    options.mode = value("mode");
    for (const auto& [name, values] :
         {std::pair("app", "gtk-entry editor terminal browser"),
          std::pair("mode", "paste type clipboardOnly"), std::pair("trigger", "toggle hold pick")})
        if (auto check = oneOf(name, value(name), values); !check)
            return tl::unexpected(check.error());
    options.app = *TargetApp::kindNamed(options.appName);
    options.hold = value("trigger") == QLatin1String("hold");
    options.pick = value("trigger") == QLatin1String("pick");
    options.enhance = parser.isSet(QStringLiteral("enhance"));
    options.letter = value("letter").toUpper();
    options.say = value("say");
    options.screenshots = value("screenshots");
    options.murlo = value("murlo");
    if (parser.isSet(QStringLiteral("wav"))) {
        if (parser.isSet(QStringLiteral("say")))
            return tl::unexpected(QStringLiteral("Either --say or --wav, not both."));
        const auto file = existing(QStringLiteral("wav"), value("wav"));
        if (!file) return tl::unexpected(file.error());
        options.wav = *file;
    } else if (options.say.trimmed().isEmpty()) {
        if (parser.isSet(QStringLiteral("say")))
            return tl::unexpected(QStringLiteral("--say needs a text."));
        options.say = options.enhance ? defaultRambling : defaultText;
    }
    const bool own = parser.isSet(QStringLiteral("model"));
    const auto model =
        existing(QStringLiteral("model"), own ? value("model") : value("default-model"));
    if (!model) return tl::unexpected(model.error());
    options.model = *model;
    return options;
}

} // namespace murlo
