#include "settings/Settings.h"
#include "MurloKit/Vocabulary.h"
#include "settings/SettingsModel.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

namespace {

using Assignment = std::function<void(SettingsModel&)>;

void put(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray get(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class SettingsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Paths> m_paths;
    VirtualScheduler m_scheduler;

    [[nodiscard]] QString file() const { return m_paths->file("settings.json"); }

private Q_SLOTS:
    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        m_paths = std::make_unique<Paths>(m_folder->filePath("support"));
        QVERIFY(m_paths->prepare());
    }

    void whatIsStoredIsThereAfterARestartAndForItsOwnerAlone() {
        {
            Settings settings(*m_paths, m_scheduler);
            QCOMPARE(settings.number(SettingKey::maxRecordingSeconds), 300.0);
            QCOMPARE(settings.truth(SettingKey::playSounds), true);
            QVERIFY(!settings.holds(SettingKey::playSounds)); // a default is not stored
            QVERIFY(!QFileInfo::exists(file()));
            settings.set(SettingKey::triggerKey, "rightOption");
            settings.set(SettingKey::maxRecordingSeconds, 12.5);
            settings.set(SettingKey::playSounds, false);
            settings.set(SettingKey::signOutReason, QString("revokedElsewhere"));
            settings.remove(SettingKey::signOutReason);
        }
        const Settings settings(*m_paths, m_scheduler);
        QCOMPARE(settings.trigger(), TriggerKey::rightOption);
        QCOMPARE(settings.number(SettingKey::maxRecordingSeconds), 12.5);
        QCOMPARE(settings.truth(SettingKey::playSounds), false);
        QVERIFY(!settings.holds(SettingKey::signOutReason));
        QCOMPARE(settings.text(SettingKey::accountEmail), std::nullopt);
        const auto others =
            QFile::ReadGroup | QFile::ReadOther | QFile::ExeOther | QFile::WriteGroup;
        QVERIFY(!(QFileInfo(file()).permissions() & others));
        QVERIFY(!(QFileInfo(m_paths->support()).permissions() & others));
    }

    void valuesOfTheWrongKindReadAsNothingAndStayInTheFile() {
        put(file(), R"({"triggerKey": "banana", "insertMode": 7, "doubleTapWindow": "soon",
                        "fromTheFuture": [1, 2]})");
        {
            Settings settings(*m_paths, m_scheduler);
            QCOMPARE(settings.trigger(), TriggerKey::leftShift);
            QCOMPARE(settings.pickTargetTrigger(), TriggerKey::rightShift);
            QCOMPARE(settings.insertMode(), InsertMode::paste);
            QCOMPARE(settings.number(SettingKey::doubleTapWindow), 0.35);
            settings.set(SettingKey::hasQuitOnce, true);
        }
        const QByteArray written = get(file());
        QVERIFY(written.contains("banana"));
        QVERIFY(written.contains("fromTheFuture"));
        QVERIFY(written.contains("hasQuitOnce"));
    }

    void aDamagedFileIsSetAsideWhole_data() {
        QTest::addColumn<QByteArray>("damaged");
        QTest::newRow("cut off") << QByteArray("{\"triggerKey\": \"leftOp");
        QTest::newRow("an array") << QByteArray("[1, 2]");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("binary") << QByteArray("\xff\xfe\x00{}", 5);
    }
    void aDamagedFileIsSetAsideWhole() {
        QFETCH(QByteArray, damaged);
        put(file(), damaged);
        {
            Settings settings(*m_paths, m_scheduler);
            QCOMPARE(settings.trigger(), TriggerKey::leftShift);
            settings.set(SettingKey::triggerKey, "fn");
        }
        const QStringList aside = QDir(m_paths->support()).entryList({"settings.json.damaged-*"});
        QCOMPARE(aside.size(), 1);
        QCOMPARE(get(m_paths->file(aside.first())), damaged);
        QCOMPARE(Settings(*m_paths, m_scheduler).trigger(), TriggerKey::fn);
    }

    void aFolderThatCannotBeWrittenLeavesARunningStore() {
        const Paths nowhere("/proc/murlo-cannot-be-here");
        Settings settings(nowhere, m_scheduler);
        settings.set(SettingKey::triggerKey, "fn");
        m_scheduler.runPending();
        QCOMPARE(settings.trigger(), TriggerKey::fn);
    }

    void theChosenModelCountsWhileItsFileExistsElseTheLargest() {
        QVERIFY(QDir().mkpath(m_paths->models()));
        Settings settings(*m_paths, m_scheduler);
        QCOMPARE(settings.modelPath(), std::nullopt);
        const QString b = m_paths->models() + "/b.bin";
        const QString a = m_paths->models() + "/a.bin";
        put(b, QByteArray(20, 'x'));
        put(a, QByteArray(10, 'x'));
        put(m_paths->models() + "/c.txt", QByteArray(30, 'x'));
        put(m_paths->models() + "/d.bin.part", QByteArray(40, 'x'));
        put(m_paths->models() + "/e.BIN", QByteArray(50, 'x'));
        QCOMPARE(settings.discoverModel(), b);
        QCOMPARE(settings.availableModels(), (QStringList{a, b}));
        settings.set(SettingKey::modelPath, a);
        QCOMPARE(settings.modelPath(), a);
        QFile::remove(a);
        QCOMPARE(settings.modelPath(), b);
        settings.set(SettingKey::modelPath, QString());
        QCOMPARE(settings.modelPath(), b);
    }

    void anAssignmentStoresThenCallsThenPushes_data() {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<Assignment>("assign");
        QTest::addColumn<QString>("calls");
        const auto row = [](const char* key, const char* calls, const Assignment& assign) {
            QTest::newRow(key) << QByteArray(key) << assign << QString(calls);
        };
        const auto assign = [&](const char* key, const QJsonValue& value, const char* calls) {
            row(key, calls, [=](SettingsModel& model) { model.assign(key, value); });
        };
        assign(SettingKey::triggerKey, "fn", "trigger push");
        assign(SettingKey::pickTargetKey, "fn", "trigger push");
        assign(SettingKey::language, "de", "engine push");
        assign(SettingKey::modelPath, "/m.bin", "engine");
        assign(SettingKey::playSounds, false, "push");
        assign(SettingKey::hasQuitOnce, true, "");
        row(SettingKey::initialPrompt, "push", [](auto& model) { model.addVocabularyTerm("x"); });
        row(SettingKey::loginItemDecided, "", [](auto& model) { model.setLaunchAtLogin(true); });
    }
    void anAssignmentStoresThenCallsThenPushes() {
        QFETCH(QByteArray, key);
        QFETCH(Assignment, assign);
        Settings settings(*m_paths, m_scheduler);
        FakeLoginItem login;
        SettingsModel model(settings, login);
        QStringList heard;
        const auto hear = [&](const char* call) {
            QVERIFY(settings.holds(key)); // stored before anybody is told
            heard.append(call);
        };
        model.onTriggerChange = [&] { hear("trigger"); };
        model.onEngineOptionChange = [&] { hear("engine"); };
        model.onAccountPush = [&] { hear("push"); };
        int changes = 0;
        connect(&model, &SettingsModel::changed, this, [&] { ++changes; });
        int stored = 0;
        connect(&settings, &Settings::changed, this, [&] { ++stored; });
        assign(model);
        QVERIFY(settings.holds(key));
        QTEST(heard.join(' '), "calls");
        QVERIFY(changes == 1 && stored == 1);
        assign(model);
        QCOMPARE(stored, 1); // it is what it was
    }

    void whatChangedOutsideIsTakenUpWithoutAnEffect() {
        Settings settings(*m_paths, m_scheduler);
        FakeLoginItem login;
        login.enabled = true;
        SettingsModel model(settings, login);
        int calls = 0;
        model.onEngineOptionChange = [&] { ++calls; };
        login.enabled = false;
        QVERIFY(QDir().mkpath(m_paths->models()));
        const QString found = m_paths->models() + "/found.bin";
        put(found, "x");
        model.refreshFromSystem();
        QCOMPARE(model.launchAtLogin(), false);
        QCOMPARE(login.timesSet, 0);
        QVERIFY(!settings.holds(SettingKey::loginItemDecided));
        QCOMPARE(model.modelPath(), found);
        QVERIFY(!settings.holds(SettingKey::modelPath));
        QCOMPARE(calls, 0);
        QCOMPARE(model.permissionsTick(), 1);
        int changes = 0;
        connect(&model, &SettingsModel::changed, this, [&] { ++changes; });
        settings.set(SettingKey::language, "de"); // as the account's record does
        QVERIFY(changes == 1 && calls == 0);
        login.refuses = true;
        model.setLaunchAtLogin(true);
        QVERIFY(!model.launchAtLogin()); // what the desktop says, not what was wished
    }

    void vocabularyTermsAreReadAddedAndRemoved() {
        const QString stored = "alpha, , beta ,gamma.ts";
        QCOMPARE(Vocabulary::terms(stored), (QStringList{"alpha", "beta", "gamma.ts"}));
        QCOMPARE(Vocabulary::adding(" beta ", stored), stored);
        QCOMPARE(Vocabulary::adding(" , ", stored), stored);
        QCOMPARE(Vocabulary::adding("a,b", stored), "alpha, beta, gamma.ts, a b");
        QCOMPARE(Vocabulary::removing("beta", stored), "alpha, gamma.ts");
        QCOMPARE(Vocabulary::removing("only", "only"), QString());
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "SettingsTest.moc"
