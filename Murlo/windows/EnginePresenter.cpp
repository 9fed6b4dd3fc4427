#include "windows/EnginePresenter.h"

#include "dictation/engine/EngineDevices.h"
#include "dictation/engine/WhisperServer.h"
#include "settings/Settings.h"
#include "settings/SettingsModel.h"
#include "setup/ModelDownload.h"
#include "setup/ModelFolder.h"

#include <QFileInfo>

#include <utility>

namespace murlo {

EnginePresenter::EnginePresenter(const Partners& partners)
    : m_with(partners) {
    connect(&m_with.devices, &EngineDevices::changed, this, &EnginePresenter::changed);
    connect(&m_with.settings, &SettingsModel::changed, this, &EnginePresenter::changed);
    const ModelDownload& download = m_with.download;
    connect(&download, &ModelDownload::progressed, this,
            [this](double progress, const Message& remaining) {
                m_news = Message(Word::percentDone,
                                 {QString::number(static_cast<int>(progress * 100))}) +
                         remaining;
                Q_EMIT changed();
            });
    connect(&download, &ModelDownload::failed, this, [this](const Message& why) {
        m_wanted.clear();
        m_news = why;
        Q_EMIT changed();
    });
    connect(&download, &ModelDownload::installed, this, [this](const QString& path) {
        const bool isWanted = QFileInfo(path).fileName() == std::exchange(m_wanted, {});
        m_news = {};
        if (isWanted)
            choose(path);
        else
            Q_EMIT changed();
    });
}

EngineRecord EnginePresenter::record() const {
    EngineFacts facts;
    facts.installed = m_with.settings.availableModels();
    facts.current = m_with.settings.modelPath();
    facts.language = m_with.settings.values().text(SettingKey::language).value_or(QString());
    facts.speed = m_with.devices.speed();
    facts.setAside = m_with.devices.devicesSetAside();
    facts.device = m_with.settings.values().text(SettingKey::engineDevice).value_or(QString());
    facts.runsOn = m_with.server.run().device.key();
    const auto downloading = m_with.download.model();
    facts.downloading = downloading ? downloading->file : QString();
    facts.news = m_news;
    facts.seconds = [this](const SpeechModel& model) { return m_with.devices.secondsFor(model); };
    return presentEngine(facts);
}

void EnginePresenter::choose(const QString& path) {
    m_with.settings.assign(SettingKey::modelPath, path);
    Q_EMIT changed();
}

void EnginePresenter::act(const ModelRow& row) {
    switch (row.action) {
    case ModelRow::download:
        if (const auto model = ModelCatalog::find(row.file)) startDownload(*model);
        break;
    case ModelRow::pause:
        m_with.download.pause();
        m_wanted.clear();
        m_news = {};
        break;
    case ModelRow::remove:
        remove(row.path);
        break;
    case ModelRow::none:
        break;
    }
    Q_EMIT changed();
}

void EnginePresenter::startDownload(const SpeechModel& model) {
    if (const auto coming = m_with.download.model(); coming && coming->file != model.file) return;
    m_wanted = model.file;
    m_news = Word::connecting;
    m_with.download.start(model);
}

void EnginePresenter::remove(const QString& path) {
    m_with.scheduler.background(
        [&scheduler = m_with.scheduler, folder = ModelFolder(m_with.files, m_with.paths), path,
         done = m_lifetime.guard([this] { m_with.settings.refreshFromSystem(); })] {
            std::ignore = folder.deleteModel(path); // the log has why not
            scheduler.nextTurn(done);
        });
}

void EnginePresenter::chooseDevice(const QString& key) {
    m_with.settings.assign(SettingKey::engineDevice,
                           key.isEmpty() ? QJsonValue(QJsonValue::Undefined) : QJsonValue(key));
}

void EnginePresenter::tryAgain() {
    m_with.devices.tryAgain();
    m_with.server.restart();
}

std::optional<SpeechModel> EnginePresenter::fasterModel() const {
    return m_with.devices.offeredInsteadOf(m_with.settings.modelPath());
}

QString EnginePresenter::installedPath(const SpeechModel& model) const {
    for (const QString& path : m_with.settings.availableModels())
        if (QFileInfo(path).fileName() == model.file) return path;
    return {};
}

void EnginePresenter::takeFasterModel() {
    const auto model = fasterModel();
    if (!model) return;
    const QString path = installedPath(*model);
    if (!path.isEmpty())
        choose(path);
    else
        startDownload(*model);
    Q_EMIT changed();
}

} // namespace murlo
