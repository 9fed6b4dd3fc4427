#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/clipboard/X11Pasteboard.h"
#include "tests/contract/ClipboardClients.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakePasteboard.h"
#include "tests/harness/OtherClipboardUser.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace murlo;

namespace {

/// A clipboard with another program beside it.
class World : public ContractWorld {
public:
    virtual Pasteboard& pasteboard() = 0;
    virtual void otherCopies(const PasteboardItem& item) = 0;
    virtual void otherHangs(bool hung) = 0;
    virtual void otherExits() = 0;
    /// What the other program gets by a paste.
    virtual QByteArray otherPastes(const QString& format) = 0;
    /// "text/plain" of the other program, as the platform names it.
    [[nodiscard]] virtual QString textFormat() const = 0;
};

class FakeWorld : public World {
public:
    Pasteboard& pasteboard() override { return m_pasteboard; }
    void otherCopies(const PasteboardItem& item) override { m_pasteboard.foreignCopy(item); }
    void otherHangs(bool hung) override { m_pasteboard.foreignHang(hung); }
    void otherExits() override { m_pasteboard.foreignExit(); }
    QByteArray otherPastes(const QString& format) override {
        for (const auto& item : m_pasteboard.items()) {
            for (const auto& [name, bytes] : item) {
                if (name == format) return OtherClipboardUser::fingerprint(bytes);
            }
        }
        return "none";
    }
    [[nodiscard]] QString textFormat() const override { return QStringLiteral("UTF8_STRING"); }

private:
    QtScheduler m_scheduler;
    FakePasteboard m_pasteboard{m_scheduler};
};

class RealWorld : public World {
public:
    RealWorld() { m_pasteboard->write({}); } // what happens from now on is noticed
    Pasteboard& pasteboard() override { return *m_pasteboard; }
    void otherCopies(const PasteboardItem& item) override { QVERIFY(m_other.copy(item)); }
    void otherHangs(bool hung) override { m_other.hang(hung); }
    void otherExits() override { m_other.kill(); }
    QByteArray otherPastes(const QString& format) override { return m_other.paste(format); }
    [[nodiscard]] QString textFormat() const override { return QStringLiteral("text/plain"); }

    OtherClipboardUser& other() { return m_other; }
    void endPasteboard() { m_pasteboard.reset(); }

private:
    OtherClipboardUser m_other{QStringLiteral(MURLO_CLIPBOARD_USER)};
    std::unique_ptr<X11Pasteboard> m_pasteboard = std::make_unique<X11Pasteboard>();
};

QByteArray noise(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = 12345;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

QStringList formats(const PasteboardItem& item) {
    QStringList names;
    for (const auto& format : item) names.append(format.first);
    return names;
}

PasteboardItem textItem(const World& world, const char* text) {
    return {{world.textFormat(), text}};
}

} // namespace

class PasteboardContractTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<World> m_world;

    Pasteboard& start() {
        m_world = makeWorldOfRow<World, FakeWorld, RealWorld>();
        return m_world->pasteboard();
    }
    RealWorld& startReal() {
        auto world = std::make_unique<RealWorld>();
        RealWorld& result = *world;
        m_world = std::move(world);
        return result;
    }
    /// The other program's copy, seen by ours.
    void copyElsewhere(const PasteboardItem& item) {
        const qint64 before = m_world->pasteboard().changeCount();
        m_world->otherCopies(item);
        QTRY_VERIFY(m_world->pasteboard().changeCount() > before);
    }

private Q_SLOTS:
    void cleanup() { m_world.reset(); }

    void theOtherProgramPastesWhatWasPutThere_data() { addWorlds(); }
    void theOtherProgramPastesWhatWasPutThere() {
        Pasteboard& pasteboard = start();
        const QString text = QStringLiteral("Grüße, 世界 👩‍👩‍👧\nsecond line");
        const QString mark = QStringLiteral("x-kde-passwordManagerHint");
        for (const bool lent : {true, false}) {
            lent ? pasteboard.lendString(text) : pasteboard.setString(text);
            QCOMPARE(m_world->otherPastes(m_world->textFormat()),
                     OtherClipboardUser::fingerprint(text.toUtf8()));
            QCOMPARE(m_world->otherPastes(mark),
                     lent ? OtherClipboardUser::fingerprint("secret") : QByteArray("none"));
        }
    }

    void aTextForTheUserOutlivesALoan_data() { addWorlds(); }
    void aTextForTheUserOutlivesALoan() {
        Pasteboard& pasteboard = start();
        pasteboard.setString(QStringLiteral("for the user"));
        const auto kept = pasteboard.read();
        pasteboard.lendString(QStringLiteral("lent"));
        const auto nothing = pasteboard.read();
        QTRY_VERIFY(kept->isComplete() && nothing->isComplete());
        QVERIFY(nothing->snapshot().items.value(0).isEmpty());
        pasteboard.write(kept->snapshot());
        QCOMPARE(m_world->otherPastes(m_world->textFormat()),
                 OtherClipboardUser::fingerprint("for the user"));
    }

    void ownWritesAreCountedAtOnceAndForeignOnesReported_data() { addWorlds(); }
    void ownWritesAreCountedAtOnceAndForeignOnesReported() {
        Pasteboard& pasteboard = start();
        int reported = 0;
        connect(&pasteboard, &Pasteboard::changed, this, [&] { ++reported; });
        qint64 last = pasteboard.changeCount();
        for (int i = 0; i < 20; ++i) {
            const qint64 count = pasteboard.setString(QString::number(i));
            QVERIFY(count > last);
            QCOMPARE(pasteboard.changeCount(), count);
            last = count;
        }
        // The other program has seen all of it, so whatever was to be notified has been.
        QCOMPARE(m_world->otherPastes(m_world->textFormat()),
                 OtherClipboardUser::fingerprint("19"));
        QCoreApplication::processEvents();
        QCOMPARE(pasteboard.changeCount(), last);
        QCOMPARE(reported, 0);

        copyElsewhere(textItem(*m_world, "theirs"));
        QTRY_COMPARE(reported, 1);
        QVERIFY(pasteboard.changeCount() > last);
        pasteboard.write({});
        QVERIFY(pasteboard.changeCount() > last + 1);
        QCOMPARE(m_world->otherPastes(m_world->textFormat()), QByteArray("none"));
        QCOMPARE(reported, 1);
    }

    void everyFormatComesBackToTheByte_data() { addWorlds(); }
    void everyFormatComesBackToTheByte() {
        Pasteboard& pasteboard = start();
        const PasteboardItem original{{QStringLiteral("image/png"), noise(3'000'000)},
                                      {QStringLiteral("text/html"), "<b>fett</b>"},
                                      {QStringLiteral("application/x-odd"), noise(1000)},
                                      {QStringLiteral("application/x-empty"), ""},
                                      {m_world->textFormat(), "fett"}};
        copyElsewhere(original);
        const auto reading = pasteboard.read();
        QTRY_VERIFY(reading->isComplete());
        pasteboard.setString(QStringLiteral("dictated"));
        const PasteboardSnapshot snapshot = reading->snapshot();
        QCOMPARE(snapshot.unread, QStringList());
        pasteboard.write(snapshot);
        for (const auto& [format, bytes] : original)
            QCOMPARE(m_world->otherPastes(format), OtherClipboardUser::fingerprint(bytes));

        // What is ours by now is kept as well as what was theirs.
        const auto own = pasteboard.read();
        pasteboard.setString(QStringLiteral("dictated again"));
        QTRY_VERIFY(own->isComplete());
        QCOMPARE(formats(own->snapshot().items.first()), formats(snapshot.items.first()));
    }

    void aReadingSurvivesTheTextThatFollowsIt_data() { addWorlds(); }
    void aReadingSurvivesTheTextThatFollowsIt() {
        Pasteboard& pasteboard = start();
        copyElsewhere(textItem(*m_world, "the user's"));
        const auto reading = pasteboard.read();
        pasteboard.setString(QStringLiteral("dictated"));
        QTRY_VERIFY(reading->isComplete());
        pasteboard.write(reading->snapshot());
        QCOMPARE(m_world->otherPastes(m_world->textFormat()),
                 OtherClipboardUser::fingerprint("the user's"));
    }

    void aHungProgramIsGivenUpAndWaitedForByNobody_data() { addWorlds(); }
    void aHungProgramIsGivenUpAndWaitedForByNobody() {
        Pasteboard& pasteboard = start();
        copyElsewhere(textItem(*m_world, "theirs"));
        m_world->otherHangs(true);
        QElapsedTimer time;
        time.start();
        const auto reading = pasteboard.read();
        pasteboard.setString(QStringLiteral("dictated"));
        QVERIFY2(time.elapsed() < 200, "the write waited for the hung program");
        QVERIFY(!reading->isComplete());
        QTRY_VERIFY_WITH_TIMEOUT(reading->isComplete(), 2000);
        QVERIFY(time.elapsed() >= 300);
        QVERIFY(reading->snapshot().items.isEmpty());
        QVERIFY(!reading->snapshot().unread.isEmpty());
        // Its late answers disturb nothing.
        m_world->otherHangs(false);
        copyElsewhere(textItem(*m_world, "theirs again"));
        const auto next = pasteboard.read();
        QTRY_VERIFY(next->isComplete());
        QVERIFY(next->snapshot().unread.isEmpty());
        QCOMPARE(next->snapshot().items.first().last().second, QByteArray("theirs again"));
    }

    void aProgramThatEndsTakesItsContentAlong_data() { addWorlds(); }
    void aProgramThatEndsTakesItsContentAlong() {
        Pasteboard& pasteboard = start();
        copyElsewhere(textItem(*m_world, "theirs"));
        m_world->otherHangs(true);
        const qint64 before = pasteboard.changeCount();
        const auto reading = pasteboard.read();
        m_world->otherExits();
        QTRY_VERIFY(reading->isComplete());
        QVERIFY(reading->snapshot().items.isEmpty());
        QTRY_VERIFY(pasteboard.changeCount() > before);

        const auto empty = pasteboard.read();
        QTRY_VERIFY(empty->isComplete());
        QVERIFY(empty->snapshot().items.isEmpty());
        QCOMPARE(empty->snapshot().unread, QStringList());
    }

    void aSecretIsNotKept_data() { addWorlds(); }
    void aSecretIsNotKept() {
        Pasteboard& pasteboard = start();
        PasteboardItem item = textItem(*m_world, "hunter2");
        item.append({QStringLiteral("x-kde-passwordManagerHint"), "secret"});
        copyElsewhere(item);
        const auto reading = pasteboard.read();
        QTRY_VERIFY(reading->isComplete());
        QVERIFY(reading->snapshot().items.isEmpty());
        QVERIFY(!reading->snapshot().unread.isEmpty());
    }

    void aLargePictureIsReadAndServedInPieces() {
        Pasteboard& pasteboard = startReal().pasteboard();
        const QString png = QStringLiteral("image/png");
        const QByteArray picture = noise(64 << 20);
        copyElsewhere({{png, picture}});
        PasteboardSnapshot snapshot;
        // On a busy machine even a living program may be silent for too long.
        QVERIFY(QTest::qWaitFor(
            [&] {
                const auto reading = pasteboard.read();
                if (!QTest::qWaitFor([&] { return reading->isComplete(); }, 20000)) return false;
                snapshot = reading->snapshot();
                return snapshot.unread.isEmpty();
            },
            20000));
        pasteboard.write(snapshot);
        QCOMPARE(m_world->otherPastes(png), OtherClipboardUser::fingerprint(picture));
    }

    void aRequestorThatDiesInTheMiddleHarmsNobody() {
        RealWorld& world = startReal();
        const QString png = QStringLiteral("image/png");
        world.pasteboard().write({{{{png, noise(64 << 20)}}}, {}});
        world.other().beginPaste(png);
        world.otherExits();
        const QByteArray small = noise(5'000'000);
        world.pasteboard().write({{{{png, small}}}, {}});
        OtherClipboardUser third{QStringLiteral(MURLO_CLIPBOARD_USER)};
        QCOMPARE(third.paste(png), OtherClipboardUser::fingerprint(small));
    }

    void aSlowProgramGetsWhatWasThereWhenTheUserPasted() {
        Pasteboard& pasteboard = startReal().pasteboard();
        BareClient client;
        const auto now = [&] {
            const QByteArray time = client.ask("TIMESTAMP", XCB_CURRENT_TIME);
            xcb_timestamp_t value = 0;
            std::memcpy(&value, time.constData(), sizeof value);
            return value;
        };
        const char* const text = "UTF8_STRING";
        pasteboard.lendString(QStringLiteral("dictated"));
        const xcb_timestamp_t pasted = now();
        QTest::qWait(5); // the server counts in milliseconds
        pasteboard.write({{{{QString::fromLatin1(text), "the user's"}}}, {}});
        const xcb_timestamp_t restored = now();
        QVERIFY(restored > pasted);
        QCOMPARE(client.ask(text, restored), QByteArray("the user's"));
        QCOMPARE(client.ask(text, XCB_CURRENT_TIME), QByteArray("the user's"));
        QCOMPARE(client.ask(text, pasted), QByteArray("dictated"));
        QCOMPARE(client.ask(text, pasted - 1), QByteArray("refused"));
        QCOMPARE(client.ask("image/png", XCB_CURRENT_TIME), QByteArray("refused"));
    }

    void theClipboardManagerGetsWhatWeLeave() {
        RealWorld& world = startReal();
        {
            const ClipboardManager manager;
            world.pasteboard().write({{{{world.textFormat(), "kept"}}}, {}});
            world.endPasteboard();
            QCOMPARE(world.otherPastes(world.textFormat()),
                     OtherClipboardUser::fingerprint("kept"));
        }
    }

    void withoutAServerTheTextIsSimplyNotPutAnywhere() {
        const QByteArray display = qgetenv("DISPLAY");
        qputenv("DISPLAY", ":99999");
        {
            X11Pasteboard pasteboard;
            const qint64 count = pasteboard.setString(QStringLiteral("text"));
            QCOMPARE(pasteboard.changeCount(), count);
            const auto reading = pasteboard.read();
            QTRY_VERIFY(reading->isComplete());
            QVERIFY(reading->snapshot().items.isEmpty());
        }
        qputenv("DISPLAY", display);
    }
};

QTEST_GUILESS_MAIN(PasteboardContractTest)
#include "PasteboardContractTest.moc"
