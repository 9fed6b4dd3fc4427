#include "platform/linux/freedesktop/XdgLoginItem.h"
#include "tests/harness/Files.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

class LoginItemContractTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_config;
    QString m_entry = m_config.filePath("autostart/murlo.desktop");

private Q_SLOTS:
    void itIsSwitchedOnAndOffAndReadAnew() {
        XdgLoginItem item(m_config.path(), R"(/opt/a "b" $c\d`e 100%/murlo)");
        QVERIFY(!item.isEnabled());
        QVERIFY(item.setEnabled(true));
        QVERIFY(XdgLoginItem(m_config.path(), "/other").isEnabled());
        // Escaped twice: as a string of the file, and inside the quotes of its Exec line.
        QVERIFY(contentOf(m_entry).contains(
            R"(Exec="/opt/a \\"b\\" \\$c\\\\d\\`e 100%%/murlo" --login)"));
        QVERIFY(contentOf(m_entry).contains(R"(TryExec=/opt/a "b" $c\\d`e 100%/murlo)"));
        QVERIFY(item.setEnabled(true) && item.setEnabled(false));
        QVERIFY(!item.isEnabled() && !QFile::exists(m_entry));
        QVERIFY(item.setEnabled(false));
        XdgLoginItem nowhere("/proc/nowhere", "/usr/bin/murlo");
        QVERIFY(!nowhere.setEnabled(true).error().isEmpty() && !nowhere.isEnabled());
    }

    void whatIsNotInstalledIsNotStartedAtLogin() {
        putFile(m_config.filePath("build/CMakeCache.txt"), {});
        XdgLoginItem item(m_config.path(), m_config.filePath("build/Murlo/murlo"));
        QVERIFY(!item.setEnabled(true) && !item.isEnabled());
        QVERIFY(item.setEnabled(false));
    }

    void theDesktopsOwnSwitchCounts() {
        XdgLoginItem item(m_config.path(), "/usr/bin/murlo");
        for (const char* line : {"Hidden=true", "X-GNOME-Autostart-enabled=false"}) {
            putFile(m_entry, "[Desktop Entry]\nExec=/usr/bin/murlo\n" + QByteArray(line) + "\n");
            QVERIFY(!item.isEnabled());
            QVERIFY(item.setEnabled(true) && item.isEnabled());
        }
    }
};

QTEST_GUILESS_MAIN(LoginItemContractTest)
#include "LoginItemContractTest.moc"
