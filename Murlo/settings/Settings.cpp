#include "settings/Settings.h"

#include "support/Log.h"

#include <QDir>
#include <QFileInfo>

namespace murlo {

namespace {

QJsonValue::Type jsonType(SettingType type) {
    switch (type) {
    case SettingType::text:
        return QJsonValue::String;
    case SettingType::truth:
        return QJsonValue::Bool;
    case SettingType::number:
        return QJsonValue::Double;
    case SettingType::words:
        return QJsonValue::Object;
    }
    return QJsonValue::Undefined;
}

} // namespace

Settings::Settings(Paths paths, SerialQueue& disk)
    : m_paths(std::move(paths))
    , m_file(m_paths.file(QStringLiteral("settings.json")), QStringLiteral("settings"))
    , m_disk(disk) {
    m_paths.prepare();
    m_values =
        m_file.read([](const QJsonDocument& document) { return document.isObject(); }).object();
    for (const SettingRow& setting : settingsTable()) {
        const QJsonValue stored = m_values.value(QLatin1String(setting.key));
        if (!stored.isUndefined() && stored.type() != jsonType(setting.type))
            Log::write(QStringLiteral("settings: what is stored for %1 cannot be read and is left "
                                      "aside")
                           .arg(QLatin1String(setting.key)));
    }
}

Settings::~Settings() {
    m_disk.sync([] {});
}

QJsonValue Settings::value(const char* key, SettingType type) const {
    const std::lock_guard guard(m_lock);
    QJsonValue stored = m_values.value(QLatin1String(key));
    if (stored.type() == jsonType(type)) return stored;
    const SettingRow* known = settingRow(QLatin1String(key));
    if (known && known->type == type && known->fallback.isValid()) {
        return QJsonValue::fromVariant(known->fallback);
    }
    return {QJsonValue::Undefined};
}

bool Settings::truth(const char* key) const {
    return value(key, SettingType::truth).toBool();
}

double Settings::number(const char* key) const {
    return value(key, SettingType::number).toDouble();
}

std::optional<QString> Settings::text(const char* key) const {
    const QJsonValue found = value(key, SettingType::text);
    if (!found.isString()) return std::nullopt;
    return found.toString();
}

QHash<QString, QString> Settings::words(const char* key) const {
    QHash<QString, QString> all;
    const QJsonObject stored = value(key, SettingType::words).toObject();
    for (auto entry = stored.begin(); entry != stored.end(); ++entry) {
        if (entry->isString()) all.insert(entry.key(), entry->toString());
    }
    return all;
}

void Settings::set(const char* key, const QJsonValue& value) {
    const QLatin1String name(key);
    {
        const std::lock_guard guard(m_lock);
        if (m_values.value(name) == value) return;
        if (value.isUndefined())
            m_values.remove(name);
        else
            m_values.insert(name, value);
        save();
    }
    Q_EMIT changed(name);
}

bool Settings::holds(const char* key) const {
    const std::lock_guard guard(m_lock);
    return m_values.contains(QLatin1String(key));
}

void Settings::save() {
    m_disk.async([file = m_file, values = m_values] { file.write(QJsonDocument(values)); });
}

TriggerKey Settings::trigger() const {
    return triggerKeyFromRawValue(text(SettingKey::triggerKey).value_or(QString()))
        .value_or(TriggerKey::leftShift);
}

TriggerKey Settings::pickTargetTrigger() const {
    return triggerKeyFromRawValue(text(SettingKey::pickTargetKey).value_or(QString()))
        .value_or(TriggerKey::rightShift);
}

InsertMode Settings::insertMode() const {
    return insertModeFromRawValue(text(SettingKey::insertMode).value_or(QString()));
}

std::optional<QString> Settings::modelPath() const {
    const QString chosen = text(SettingKey::modelPath).value_or(QString());
    if (!chosen.isEmpty() && QFileInfo(chosen).isFile()) return chosen;
    return discoverModel();
}

QStringList Settings::availableModels() const {
    QStringList models;
    const QDir folder(m_paths.models());
    for (const QFileInfo& entry : folder.entryInfoList(QDir::Files, QDir::Name)) {
        if (entry.suffix() == QLatin1String("bin")) models.append(entry.absoluteFilePath());
    }
    return models;
}

std::optional<QString> Settings::discoverModel() const {
    std::optional<QString> largest;
    qint64 largestSize = -1;
    for (const QString& model : availableModels()) {
        const qint64 size = QFileInfo(model).size();
        if (size > largestSize) {
            largest = model;
            largestSize = size;
        }
    }
    return largest;
}

} // namespace murlo
