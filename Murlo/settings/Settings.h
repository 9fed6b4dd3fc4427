#pragma once

#include "MurloKit/InsertMode.h"
#include "MurloKit/TriggerKey.h"
#include "platform/Scheduler.h"
#include "settings/SettingKeys.h"
#include "support/JsonFile.h"
#include "support/Paths.h"

#include <QHash>
#include <QJsonObject>

#include <mutex>
#include <optional>

namespace murlo {

/// The settings store: one flat map of key to string, boolean or number, kept in "settings.json" in
/// the support folder. Readers take a value at the moment they need it. Any thread.
///
/// Defaults are fallbacks, not stored values. A stored value of the wrong type reads as if nothing
/// were stored; it is left in the file. Keys that this version does not know are kept.
class Settings {
public:
    /// Loads the file. A damaged one is set aside and the defaults hold. Writes happen on a serial
    /// queue of the scheduler; destruction waits for them.
    Settings(Paths paths, Scheduler& scheduler);

    /// What is stored under the key, else its default, else false, 0 or nothing.
    [[nodiscard]] bool truth(const char* key) const;
    [[nodiscard]] double number(const char* key) const;
    [[nodiscard]] std::optional<QString> text(const char* key) const;
    [[nodiscard]] QHash<QString, QString> words(const char* key) const;

    void set(const char* key, bool value) { store(key, value); }
    void set(const char* key, double value) { store(key, value); }
    void set(const char* key, const QString& value) { store(key, value); }
    /// Forgets what is stored; readers get the fallback.
    void remove(const char* key);
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

    /// Whether an account is signed in: its e-mail address is stored.
    [[nodiscard]] bool isSignedIn() const;

private:
    [[nodiscard]] QJsonValue value(const char* key, SettingType type) const;
    void store(const char* key, const QJsonValue& value);
    void save(); ///< with the lock held

    Paths m_paths;
    JsonFile m_file;
    mutable std::mutex m_lock;
    QJsonObject m_values;
    std::unique_ptr<SerialQueue> m_writer;
};

} // namespace murlo
