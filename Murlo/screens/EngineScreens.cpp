#include "look/Words.h"
#include "screens/Screens.h"
#include "windows/EngineWindow.h"

namespace murlo {

namespace {

const QString folder = QStringLiteral("/home/me/.brisvane/models/");

EngineDevice device(int number, const QString& name, double gflops) {
    EngineDevice made;
    made.number = number;
    made.name = name;
    for (const SpeechModel& model : ModelCatalog::models())
        made.gflops[model.weights][model.width] = gflops;
    return made;
}

EngineFacts laptop() {
    EngineFacts facts;
    facts.installed = {folder + QStringLiteral("ggml-base-q8_0.bin")};
    facts.current = facts.installed.first();
    facts.speed.devices = {device(EngineDevice::processor, QStringLiteral("A processor"), 65)};
    facts.runsOn = QStringLiteral("cpu");
    facts.language = QStringLiteral("en");
    facts.seconds = [speed = facts.speed](const SpeechModel& model) {
        const auto best = speed.fastest(model);
        return best ? EngineSpeed::predict(model, *best) : std::nullopt;
    };
    return facts;
}

EngineFacts workstation() {
    EngineFacts facts = laptop();
    facts.installed << folder + ModelCatalog::preferred().file
                    << folder + QStringLiteral("ggml-of-my-own.bin");
    facts.speed.devices << device(0, QStringLiteral("Example Graphics 7"), 4000)
                        << device(1, QStringLiteral("Example Graphics 7 (2)"), 4000);
    facts.setAside = {QStringLiteral("Example Graphics 7 (2)")};
    facts.runsOn = QStringLiteral("Example Graphics 7");
    facts.downloading = QStringLiteral("ggml-medium-q8_0.bin");
    facts.news = Message(Word::percentDone, {QStringLiteral("43")}) +
                 Message(Word::minutesLeft, {QStringLiteral("2")});
    facts.seconds = [speed = facts.speed](const SpeechModel& model) {
        return EngineSpeed::predict(model, speed.devices[1]);
    };
    return facts;
}

} // namespace

std::vector<Screen> engineScreens() {
    const auto screen = [](const QString& name, const EngineFacts& facts) {
        return grabbed(name, [facts]() -> std::unique_ptr<QWidget> {
            auto window = std::make_unique<EngineWindow>(
                EngineWindowActions{[facts] { return presentEngine(facts); }, [](const QString&) {},
                                    [](const ModelRow&) {}, [](const QString&) {}, [] {}});
            window->setMinimumSize(window->size());
            return window;
        });
    };
    EngineFacts unknown = laptop();
    unknown.speed = {};
    unknown.seconds = {};
    unknown.installed.clear();
    unknown.current.clear();
    unknown.news = Word::noInternet;
    EngineFacts german = laptop();
    german.language = QStringLiteral("de");
    german.installed << folder + QStringLiteral("ggml-base.en-q5_1.bin");
    german.current = german.installed.last();
    return {screen(QStringLiteral("models"), laptop()),
            screen(QStringLiteral("models-other-language"), german),
            screen(QStringLiteral("models-workstation"), workstation()),
            screen(QStringLiteral("models-nothing-known"), unknown)};
}

} // namespace murlo
