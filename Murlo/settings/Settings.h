#pragma once

#include "MurloKit/InsertMode.h"
#include "MurloKit/TriggerKey.h"
#include "platform/Scheduler.h"
#include "settings/SettingKeys.h"
#include "support/JsonFile.h"
#include "support/Paths.h"

#include <QHash>
#include <QJsonObject>
#include <QObject>

#include <mutex>
#include <optional>

namespace murlo {

/// The settings store: one flat map of key to string, boolean or number, kept in "settings.json" in
/// the support folder. Readers take a value at the moment they need it. Any thread.
///
/// Defaults are fallbacks, not stored values. A stored value of the wrong type reads as if nothing
/// were stored; it is left in the file. Keys that this version does not know are kept.
class Settings : public QObject {
    Q_OBJECT

public:
    /// Loads the file. A damaged one is set aside and the defaults hold. Writes happen on the
    /// queue; destruction waits for them.
    Settings(Paths paths, SerialQueue& disk);
    ~Settings() override;

    /// What is stored under the key, else its default, else false, 0 or nothing.
    [[nodiscard]] bool truth(const char* key) const;
    [[nodiscard]] double number(const char* key) const;
    [[nodiscard]] std::optional<QString> text(const char* key) const;
    [[nodiscard]] QHash<QString, QString> words(const char* key) const;

    /// Stores a string, a boolean, a number or an object of strings; "undefined" removes the value,
    /// and readers get the fallback.
    void set(const char* key, const QJsonValue& value);
    void remove(const char* key) { set(key, QJsonValue(QJsonValue::Undefined)); }
    /// Whether a value, of whatever kind, is stored under the key.
    [[nodiscard]] bool holds(const char* key) const;

    /// The dictation trigger; `leftShift` when what is stored names no key.
    [[nodiscard]] TriggerKey trigger() const;
    void setTrigger(TriggerKey key) { set(SettingKey::triggerKey, rawValue(key)); }
    /// The pick trigger; `rightShift` when what is stored names no key.
    [[nodiscard]] TriggerKey pickTargetTrigger() const;
    void setPickTargetTrigger(TriggerKey key) { set(SettingKey::pickTargetKey, rawValue(key)); }
    [[nodiscard]] InsertMode insertMode() const;

    /// The chosen speech model if its file exists, else what `discoverModel` finds.
    [[nodiscard]] std::optional<QString> modelPath() const;
    /// Full path of the largest ".bin" file in the models folder.
    [[nodiscard]] std::optional<QString> discoverModel() const;
    /// Full paths of the ".bin" files in the models folder, by ascending file name.
    [[nodiscard]] QStringList availableModels() const;

Q_SIGNALS:
    /// Another value is stored under the key, or none any more. In the thread that stored it.
    void changed(const QString& key);

private:
    [[nodiscard]] QJsonValue value(const char* key, SettingType type) const;
    void save(); ///< with the lock held

    Paths m_paths;
    JsonFile m_file;
    SerialQueue& m_disk;
    mutable std::mutex m_lock;
    QJsonObject m_values;
};

} // namespace murlo
