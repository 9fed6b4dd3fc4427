#include "dictation/engine/EngineDevices.h"

#include "settings/Settings.h"
#include "support/Log.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

namespace murlo {

namespace {

constexpr int keptAnswers = 10;
constexpr double longestClip = 30;       // seconds that the engine hears at a time
constexpr double noticeablyFaster = 0.7; // of the time, for a model to be worth changing to

namespace Key {
const QString machine = QStringLiteral("machine");
const QString measured = QStringLiteral("measured");
const QString setAside = QStringLiteral("setAside");
const QString answers = QStringLiteral("answers");
const QString told = QStringLiteral("told"); // models that the user knows to be slow
} // namespace Key

/// Under which the answers of a model on a device are kept.
QString answersKey(const QString& file, const EngineDevice& device) {
    return file + QLatin1String(" @ ") + device.key();
}

QStringList textsIn(const QJsonValue& list) {
    return list.toVariant().toStringList();
}

} // namespace

EngineDevices::EngineDevices(const Settings& settings, const Paths& paths, SerialQueue& disk)
    : m_settings(settings)
    , m_file(paths.file(QStringLiteral("engine.json")), QStringLiteral("engine"))
    , m_disk(disk)
    , m_values(
          m_file.read([](const QJsonDocument& document) { return document.isObject(); }).object())
    , m_speed(EngineSpeed::parse(m_values.value(Key::measured).toString().toUtf8())) {}

EngineDevices::~EngineDevices() {
    m_disk.sync([] {});
}

EngineSpeed EngineDevices::speed() const {
    const std::lock_guard guard(m_lock);
    return m_speed;
}

bool EngineDevices::knows(const QString& machine) const {
    const std::lock_guard guard(m_lock);
    return m_values.value(Key::machine).toString() == machine;
}

void EngineDevices::setMeasured(const QString& machine, const QByteArray& output) {
    {
        const std::lock_guard guard(m_lock);
        if (m_values.value(Key::machine).toString() != machine) m_values.remove(Key::setAside);
        m_values.insert(Key::machine, machine);
        m_values.insert(Key::measured, QString::fromUtf8(output));
        m_speed = EngineSpeed::parse(output);
        save();
    }
    Q_EMIT changed();
}

EngineSpeed EngineDevices::usable() const {
    return m_speed.without(textsIn(m_values.value(Key::setAside)));
}

EngineDevice EngineDevices::chosen(const std::optional<SpeechModel>& model) const {
    const QString wanted = m_settings.text(SettingKey::engineDevice).value_or(QString());
    EngineDevice processor;
    const std::lock_guard guard(m_lock);
    const EngineSpeed devices = usable();
    if (wanted == processor.key()) return processor;
    const auto choice = std::ranges::find_if(
        devices.devices, [&](const EngineDevice& device) { return device.key() == wanted; });
    if (choice != devices.devices.end()) return *choice;
    return model ? devices.fastest(*model).value_or(processor) : processor;
}

EngineDevice EngineDevices::deviceFor(const QString& modelPath) const {
    return chosen(modelIn(modelPath));
}

void EngineDevices::setAside(const EngineDevice& device) {
    {
        const std::lock_guard guard(m_lock);
        QStringList keys = textsIn(m_values.value(Key::setAside));
        if (device.isProcessor() || keys.contains(device.key())) return;
        keys << device.key();
        m_values.insert(Key::setAside, QJsonArray::fromStringList(keys));
        save();
    }
    Q_EMIT changed();
}

QStringList EngineDevices::devicesSetAside() const {
    const std::lock_guard guard(m_lock);
    return textsIn(m_values.value(Key::setAside));
}

void EngineDevices::tryAgain() {
    {
        const std::lock_guard guard(m_lock);
        if (!m_values.contains(Key::setAside)) return;
        m_values.remove(Key::setAside);
        save();
    }
    Q_EMIT changed();
}

void EngineDevices::answered(const QString& modelPath, const EngineDevice& device, double clip,
                             double seconds) {
    if (clip > longestClip) return;
    {
        const std::lock_guard guard(m_lock);
        QJsonObject answers = m_values.value(Key::answers).toObject();
        const QString key = answersKey(QFileInfo(modelPath).fileName(), device);
        QJsonArray times = answers.value(key).toArray();
        times.append(seconds);
        while (times.size() > keptAnswers) times.removeFirst();
        answers.insert(key, times);
        m_values.insert(Key::answers, answers);
        save();
    }
    Q_EMIT changed();
}

std::optional<double> EngineDevices::secondsFor(const SpeechModel& model) const {
    const EngineDevice device = chosen(model);
    const std::lock_guard guard(m_lock);
    const QJsonArray times =
        m_values.value(Key::answers).toObject().value(answersKey(model.file, device)).toArray();
    if (times.size() < keptAnswers) return EngineSpeed::predict(model, device);
    QList<double> sorted;
    for (const auto& time : times) sorted << time.toDouble();
    std::ranges::sort(sorted);
    return sorted[keptAnswers / 2];
}

std::optional<SpeechModel> EngineDevices::fasterThan(const QString& modelPath) const {
    const auto current = modelIn(modelPath);
    const auto now = current ? secondsFor(*current) : std::nullopt;
    if (!now) return std::nullopt;
    std::optional<SpeechModel> found;
    for (const SpeechModel& model : ModelCatalog::offered()) {
        const auto seconds = secondsFor(model);
        if (!seconds || *seconds >= *now * noticeablyFaster) continue;
        if (!found || *seconds <= ModelCatalog::usualLimit) found = model;
    }
    return found;
}

std::optional<SpeechModel> EngineDevices::offerFaster(const QString& modelPath) {
    auto faster = fasterThan(modelPath);
    if (!faster || offeredInsteadOf(modelPath)) return std::nullopt;
    {
        const std::lock_guard guard(m_lock);
        QJsonArray told = m_values.value(Key::told).toArray();
        told.append(QFileInfo(modelPath).fileName());
        m_values.insert(Key::told, told);
        save();
    }
    Q_EMIT changed();
    return faster;
}

std::optional<SpeechModel> EngineDevices::offeredInsteadOf(const QString& modelPath) const {
    {
        const std::lock_guard guard(m_lock);
        if (!m_values.value(Key::told).toArray().contains(QFileInfo(modelPath).fileName()))
            return std::nullopt;
    }
    return fasterThan(modelPath);
}

std::optional<SpeechModel> EngineDevices::modelIn(const QString& path) {
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        auto model = SpeechModel::fromHeader(file.read(SpeechModel::headerSize),
                                             QFileInfo(path).fileName(), file.size());
        if (model) return model;
    }
    return ModelCatalog::find(path);
}

void EngineDevices::save() {
    m_disk.async([file = m_file, values = m_values] { file.write(QJsonDocument(values)); });
}

} // namespace murlo
