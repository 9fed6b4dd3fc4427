#pragma once

#include "MurloKit/EngineSpeed.h"
#include "MurloKit/Message.h"

#include <QStringList>

#include <functional>

namespace murlo {

/// What the window of the speech model depends on.
struct EngineFacts {
    QStringList installed; ///< paths of the models that are there
    QString current;       ///< path of the one in use; empty when there is none
    QString language;      ///< spoken, as stored
    EngineSpeed speed;     ///< what is known of this computer
    QStringList setAside;  ///< keys of devices that failed
    QString device;        ///< key of the one that the user wants; empty: the fastest
    QString runsOn;        ///< key of the one that the engine runs on
    QString downloading;   ///< name of the model file that is coming; empty when none is
    Message news = {};     ///< of the download: how far it is, or why it failed
    /// Seconds that a sentence takes with a model; nothing when that is not known.
    std::function<std::optional<double>(const SpeechModel&)> seconds;
};

/// One speech model to choose.
struct ModelRow {
    enum Action { none, download, pause, remove };

    QString file;
    QString path; ///< empty while it is not there
    QString title;
    QString detail;
    bool isCurrent = false;
    Action action = none;
    QString button; ///< of the action
    QString spoken; ///< the same for assistive technology

    friend bool operator==(const ModelRow&, const ModelRow&) = default;
};

/// One device to choose.
struct DeviceRow {
    QString key; ///< empty: the fastest
    QString title;

    friend bool operator==(const DeviceRow&, const DeviceRow&) = default;
};

/// What the window shows.
struct EngineRecord {
    QList<ModelRow> models;
    QString news;
    QString warning;          ///< the model does not fit what is spoken
    QList<DeviceRow> devices; ///< empty where there is no choice
    qsizetype device = 0;     ///< index of the one that is chosen
    QString trouble;          ///< a device failed; it can be tried again

    friend bool operator==(const EngineRecord&, const EngineRecord&) = default;
};

/// The window for these facts. Main thread.
[[nodiscard]] EngineRecord presentEngine(const EngineFacts& facts);

} // namespace murlo
