#include "settings/Settings.h"
#include "MurloKit/Vocabulary.h"
#include "settings/SettingsModel.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/harness/Rows.h"
#include "tests/harness/SupportFolder.h"

#include <QFileInfo>

using namespace murlo;

using Assignment = std::function<void(SettingsModel&)>;

class SettingsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatIsStoredIsThereAfterARestart() {
        const SupportFolder on;
        const Paths paths(on.paths.file("not/there/yet"));
        {
            Settings settings(paths, *on.disk);
            QCOMPARE(settings.number(SettingKey::maxRecordingSeconds), 300.0);
            QCOMPARE(settings.truth(SettingKey::playSounds), true);
            QVERIFY(!settings.holds(SettingKey::playSounds)); // a default is not stored
            settings.set(SettingKey::triggerKey, "rightOption");
            settings.set(SettingKey::maxRecordingSeconds, 12.5);
            settings.set(SettingKey::playSounds, false);
            settings.set(SettingKey::signOutReason, QString("revokedElsewhere"));
            settings.remove(SettingKey::signOutReason);
        }
        const Settings settings(paths, *on.disk);
        QCOMPARE(settings.trigger(), TriggerKey::rightOption);
        QCOMPARE(settings.number(SettingKey::maxRecordingSeconds), 12.5);
        QCOMPARE(settings.truth(SettingKey::playSounds), false);
        QVERIFY(!settings.holds(SettingKey::signOutReason));
        QCOMPARE(settings.text(SettingKey::accountEmail), std::nullopt);
        const auto others = QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
        QVERIFY(!(QFileInfo(paths.support()).permissions() & others));
    }

    void valuesOfTheWrongKindReadAsNothingAndStayInTheFile() {
        const SupportFolder on;
        on.put("settings.json",
               R"({"triggerKey": "banana", "insertMode": 7, "doubleTapWindow": "soon",
                         "fromTheFuture": [1, 2]})");
        {
            Settings settings(on.paths, *on.disk);
            QCOMPARE(settings.trigger(), TriggerKey::leftShift);
            QCOMPARE(settings.pickTargetTrigger(), TriggerKey::rightShift);
            QCOMPARE(settings.insertMode(), InsertMode::paste);
            QCOMPARE(settings.number(SettingKey::doubleTapWindow), 0.35);
            settings.set(SettingKey::hasQuitOnce, true);
        }
        for (const char* kept : {"banana", "fromTheFuture", "hasQuitOnce"})
            QVERIFY2(on.get("settings.json").contains(kept), kept);
    }

    void aFileThatHoldsNoSettingsIsSetAside() {
        const SupportFolder on;
        on.put("settings.json", "[1, 2]");
        {
            Settings settings(on.paths, *on.disk);
            QCOMPARE(settings.trigger(), TriggerKey::leftShift);
            settings.set(SettingKey::triggerKey, "fn");
        }
        QCOMPARE(on.get(on.names("settings.json.damaged-").value(0)), "[1, 2]");
        QCOMPARE(Settings(on.paths, *on.disk).trigger(), TriggerKey::fn);
    }

    void theChosenModelCountsWhileItsFileExistsElseTheLargest() {
        const SupportFolder on;
        QVERIFY(QDir().mkpath(on.paths.models()));
        Settings settings(on.paths, *on.disk);
        QCOMPARE(settings.modelPath(), std::nullopt);
        int size = 0;
        for (const char* name : {"a.bin", "b.bin", "c.txt", "d.bin.part", "e.BIN"})
            on.put(QString("models/") + name, QByteArray(size += 10, 'x'));
        const QString a = on.paths.models() + "/a.bin";
        const QString b = on.paths.models() + "/b.bin";
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
        const Rows<QString, Assignment> calls;
        const auto assign = [&](const char* key, const QJsonValue& value, const char* expected) {
            calls(key, expected, [=](SettingsModel& model) { model.assign(key, value); });
        };
        assign(SettingKey::triggerKey, "fn", "trigger push");
        assign(SettingKey::pickTargetKey, "fn", "trigger push");
        assign(SettingKey::language, "de", "engine push");
        assign(SettingKey::modelPath, "/m.bin", "engine");
        assign(SettingKey::playSounds, false, "push");
        assign(SettingKey::hasQuitOnce, true, "");
        calls(SettingKey::initialPrompt, "push", [](auto& model) { model.addVocabularyTerm("x"); });
        calls(SettingKey::loginItemDecided, "", [](auto& model) { model.setLaunchAtLogin(true); });
    }
    void anAssignmentStoresThenCallsThenPushes() {
        const auto [calls, assign] = fetch<QString, Assignment>();
        const QByteArray key = QTest::currentDataTag();
        const SupportFolder on;
        Settings settings(on.paths, *on.disk);
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
        QCOMPARE(heard.join(' '), calls);
        QVERIFY(changes == 1 && stored == 1);
        assign(model);
        QCOMPARE(stored, 1); // it is what it was
    }

    void whatChangedOutsideIsTakenUpWithoutAnEffect() {
        const SupportFolder on;
        Settings settings(on.paths, *on.disk);
        FakeLoginItem login;
        login.enabled = true;
        SettingsModel model(settings, login);
        int calls = 0;
        model.onEngineOptionChange = [&] { ++calls; };
        login.enabled = false;
        QVERIFY(QDir().mkpath(on.paths.models()));
        const QString found = on.paths.models() + "/found.bin";
        on.put("models/found.bin", "x");
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
