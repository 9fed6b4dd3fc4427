#include "windows/EngineRecord.h"

#include "look/Words.h"

#include <QFileInfo>
#include <QLocale>

#include <algorithm>

namespace murlo {

namespace {

QString detailOf(const SpeechModel& model, const EngineFacts& facts) {
    const QLocale locale;
    QStringList parts;
    if (const auto seconds = facts.seconds ? facts.seconds(model) : std::nullopt)
        parts << Words::shown(
            {Word::aboutSeconds, {locale.toString(*seconds, 'f', *seconds < 10 ? 1 : 0)}});
    parts << Words::shown(
        {Word::megabytes, {locale.toString(qRound64(static_cast<double>(model.bytes) / 1e6))}});
    if (model.englishOnly) parts << Words::shown(Word::englishOnly);
    const bool isKnown = !facts.speed.devices.isEmpty();
    if (isKnown && model.file == facts.speed.choice().file)
        parts << Words::shown(Word::recommended);
    return parts.join(QStringLiteral(" · "));
}

void setAction(ModelRow& row, ModelRow::Action action, Word word, const Message& spoken) {
    row.action = action;
    row.button = Words::shown(word);
    row.spoken = Words::shown(spoken);
}

ModelRow rowOf(const SpeechModel& model, const QString& path, const EngineFacts& facts) {
    ModelRow row;
    row.file = model.file;
    row.path = path;
    row.title = ModelCatalog::displayName(model.file);
    row.detail = detailOf(model, facts);
    row.isCurrent = !path.isEmpty() && path == facts.current;
    const bool isComing = model.file == facts.downloading;
    if (isComing)
        setAction(row, ModelRow::pause, Word::pauseDownload, Word::pauseDownload);
    else if (path.isEmpty() && facts.downloading.isEmpty())
        setAction(row, ModelRow::download, Word::download, {Word::downloadModel, {row.title}});
    else if (!path.isEmpty() && !row.isCurrent && ModelCatalog::find(path)) // can be had again
        setAction(row, ModelRow::remove, Word::deleteIt, {Word::deleteModel, {row.title}});
    return row;
}

QString nameOf(const EngineDevice& device) {
    return device.isProcessor() ? Words::shown(Word::processor) : device.name;
}

void presentDevices(const EngineFacts& facts, EngineRecord& record) {
    const auto& devices = facts.speed.devices;
    if (devices.size() < 2) return;
    const auto running =
        std::ranges::find_if(devices, [&](const auto& each) { return each.key() == facts.runsOn; });
    record.devices << DeviceRow{
        {},
        Words::shown(running == devices.end()
                         ? Message(Word::fastestDevice)
                         : Message(Word::fastestDeviceIs, {nameOf(*running)}))};
    for (const EngineDevice& device : devices) {
        if (device.key() == facts.device) record.device = record.devices.size();
        record.devices << DeviceRow{device.key(), nameOf(device)};
    }
    if (record.device > 0) record.devices.first().title = Words::shown(Word::fastestDevice);
}

} // namespace

EngineRecord presentEngine(const EngineFacts& facts) {
    EngineRecord record;
    QStringList others = facts.installed;
    const bool speaksEnglish = facts.language == QLatin1String("en");
    for (const SpeechModel& model : ModelCatalog::models() + ModelCatalog::englishModels()) {
        const auto path = std::ranges::find_if(
            others, [&](const QString& each) { return QFileInfo(each).fileName() == model.file; });
        const bool isThere = path != others.end();
        const bool isOffered =
            (model.englishOnly && speaksEnglish) ||
            std::ranges::any_of(ModelCatalog::offered(), [&](const SpeechModel& offered) {
                return offered.file == model.file;
            });
        if (isThere && *path == facts.current && model.englishOnly && !speaksEnglish)
            record.warning = Words::shown(Word::hearsEnglishOnly);
        if (isThere || isOffered) record.models << rowOf(model, isThere ? *path : QString(), facts);
        if (isThere) others.erase(path);
    }
    for (const QString& path : others) { // the user's own
        SpeechModel model;
        model.file = QFileInfo(path).fileName();
        model.bytes = QFileInfo(path).size();
        record.models << rowOf(model, path, facts);
    }
    record.news = Words::shown(facts.news);
    presentDevices(facts, record);
    if (!facts.setAside.isEmpty())
        record.trouble =
            Words::shown({Word::deviceSetAside, {facts.setAside.join(QStringLiteral(", "))}});
    return record;
}

} // namespace murlo
