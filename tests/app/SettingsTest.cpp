#include "settings/Settings.h"
#include "MurloKit/Vocabulary.h"
#include "settings/SettingsModel.h"
#include "tests/support/FakeLoginItem.h"
#include "tests/support/VirtualScheduler.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

namespace {

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

    [[nodiscard]] QString file() const { return m_paths->file(QStringLiteral("settings.json")); }
    [[nodiscard]] QStringList setAside() const {
        return QDir(m_paths->support()).entryList({QStringLiteral("settings.json.damaged-*")});
    }

private Q_SLOTS:
    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        m_paths = std::make_unique<Paths>(m_folder->filePath(QStringLiteral("support")));
        QVERIFY(m_paths->prepare());
    }

    void aFreshStoreReadsItsDefaultsAndStoresNone() {
        const Settings settings(*m_paths, m_scheduler);
        QCOMPARE(settings.trigger(), TriggerKey::leftShift);
        QCOMPARE(settings.pickTargetTrigger(), TriggerKey::rightShift);
        QCOMPARE(settings.insertMode(), InsertMode::paste);
        QCOMPARE(settings.text(SettingKey::language), QStringLiteral("en"));
        QCOMPARE(settings.truth(SettingKey::playSounds), true);
        QCOMPARE(settings.truth(SettingKey::enhancePrompt), false);
        QCOMPARE(settings.number(SettingKey::doubleTapWindow), 0.35);
        QCOMPARE(settings.number(SettingKey::holdThreshold), 0.4);
        QCOMPARE(settings.number(SettingKey::maxRecordingSeconds), 300.0);
        QCOMPARE(settings.text(SettingKey::initialPrompt), QString());
        QCOMPARE(settings.text(SettingKey::accountEmail), std::nullopt);
        QVERIFY(!settings.holds(SettingKey::language));
        QVERIFY(!settings.isSignedIn());
        QVERIFY(!QFileInfo::exists(file()));
    }

    void whatIsStoredIsThereAfterARestartAndForItsOwnerAlone() {
        {
            Settings settings(*m_paths, m_scheduler);
            settings.setTrigger(TriggerKey::rightOption);
            settings.set(SettingKey::maxRecordingSeconds, 12.5);
            settings.set(SettingKey::playSounds, false);
            settings.set(SettingKey::signOutReason, QStringLiteral("revokedElsewhere"));
            settings.remove(SettingKey::signOutReason);
        }
        const Settings settings(*m_paths, m_scheduler);
        QCOMPARE(settings.trigger(), TriggerKey::rightOption);
        QCOMPARE(settings.number(SettingKey::maxRecordingSeconds), 12.5);
        QCOMPARE(settings.truth(SettingKey::playSounds), false);
        QVERIFY(!settings.holds(SettingKey::signOutReason));
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
            settings.setTrigger(TriggerKey::fn);
        }
        QCOMPARE(setAside().size(), 1);
        QCOMPARE(get(m_paths->file(setAside().first())), damaged);
        QCOMPARE(Settings(*m_paths, m_scheduler).trigger(), TriggerKey::fn);
    }

    void aFolderThatCannotBeWrittenLeavesARunningStore() {
        const Paths nowhere(QStringLiteral("/proc/murlo-cannot-be-here"));
        Settings settings(nowhere, m_scheduler);
        settings.setTrigger(TriggerKey::fn);
        m_scheduler.runPending();
        QCOMPARE(settings.trigger(), TriggerKey::fn);
    }

    void theChosenModelCountsWhileItsFileExistsElseTheLargest() {
        QVERIFY(QDir().mkpath(m_paths->models()));
        Settings settings(*m_paths, m_scheduler);
        QCOMPARE(settings.modelPath(), std::nullopt);
        const QString b = m_paths->models() + QStringLiteral("/b.bin");
        const QString a = m_paths->models() + QStringLiteral("/a.bin");
        put(b, QByteArray(20, 'x'));
        put(a, QByteArray(10, 'x'));
        put(m_paths->models() + QStringLiteral("/c.txt"), QByteArray(30, 'x'));
        put(m_paths->models() + QStringLiteral("/d.bin.part"), QByteArray(40, 'x'));
        put(m_paths->models() + QStringLiteral("/e.BIN"), QByteArray(50, 'x'));
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
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("calls");
        QTest::newRow("trigger") << "trigger"
                                 << "trigger push";
        QTest::newRow("pick trigger") << "pick"
                                      << "trigger push";
        QTest::newRow("insert mode") << "mode"
                                     << "push";
        QTest::newRow("language") << "language"
                                  << "engine push";
        QTest::newRow("model") << "model"
                               << "engine";
        QTest::newRow("vocabulary") << "vocabulary"
                                    << "push";
        QTest::newRow("sounds") << "sounds"
                                << "push";
        QTest::newRow("enhance") << "enhance"
                                 << "push";
        QTest::newRow("login") << "login"
                               << "";
    }

    void anAssignmentStoresThenCallsThenPushes() {
        QFETCH(QString, field);
        QFETCH(QString, calls);
        Settings settings(*m_paths, m_scheduler);
        FakeLoginItem login;
        SettingsModel model(settings, login);
        QStringList heard;
        const auto hear = [&](const char* call, const char* key) {
            if (key) QVERIFY(settings.holds(key)); // stored before anybody is told
            heard.append(QString::fromLatin1(call));
        };
        const char* key = nullptr;
        model.onTriggerChange = [&] { hear("trigger", key); };
        model.onEngineOptionChange = [&] { hear("engine", key); };
        model.onAccountPush = [&] { hear("push", key); };
        int changes = 0;
        connect(&model, &SettingsModel::changed, this, [&] { ++changes; });
        const QMap<QString, std::pair<const char*, std::function<void()>>> fields{
            {"trigger", {SettingKey::triggerKey, [&] { model.setTrigger(TriggerKey::fn); }}},
            {"pick",
             {SettingKey::pickTargetKey, [&] { model.setPickTargetTrigger(TriggerKey::fn); }}},
            {"mode", {SettingKey::insertMode, [&] { model.setInsertMode(InsertMode::type); }}},
            {"language", {SettingKey::language, [&] { model.setLanguage("de"); }}},
            {"model", {SettingKey::modelPath, [&] { model.setModelPath("/m.bin"); }}},
            {"vocabulary", {SettingKey::initialPrompt, [&] { model.addVocabularyTerm("x"); }}},
            {"sounds", {SettingKey::playSounds, [&] { model.setPlaySounds(false); }}},
            {"enhance", {SettingKey::enhancePrompt, [&] { model.setEnhancePrompt(true); }}},
            {"login", {SettingKey::loginItemDecided, [&] { model.setLaunchAtLogin(true); }}},
        };
        key = fields[field].first;
        fields[field].second();
        QVERIFY(settings.holds(key));
        QCOMPARE(heard.join(QLatin1Char(' ')), calls);
        QCOMPARE(changes, 1);
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
        const QString found = m_paths->models() + QStringLiteral("/found.bin");
        put(found, "x");
        model.refreshFromSystem();
        QCOMPARE(model.launchAtLogin(), false);
        QCOMPARE(login.timesSet, 0);
        QVERIFY(!settings.holds(SettingKey::loginItemDecided));
        QCOMPARE(model.modelPath(), found);
        QVERIFY(!settings.holds(SettingKey::modelPath));
        QCOMPARE(calls, 0);
        QCOMPARE(model.permissionsTick(), 1);
    }

    void vocabularyTermsAreReadAddedAndRemoved() {
        const QString stored = QStringLiteral("alpha, , beta ,gamma.ts");
        QCOMPARE(Vocabulary::terms(stored), (QStringList{"alpha", "beta", "gamma.ts"}));
        QCOMPARE(Vocabulary::adding(QStringLiteral(" beta "), stored), stored);
        QCOMPARE(Vocabulary::adding(QStringLiteral(" , "), stored), stored);
        QCOMPARE(Vocabulary::adding(QStringLiteral("a,b"), stored),
                 QStringLiteral("alpha, beta, gamma.ts, a b"));
        QCOMPARE(Vocabulary::removing(QStringLiteral("beta"), stored),
                 QStringLiteral("alpha, gamma.ts"));
        QCOMPARE(Vocabulary::removing(QStringLiteral("only"), QStringLiteral("only")), QString());
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "SettingsTest.moc"
