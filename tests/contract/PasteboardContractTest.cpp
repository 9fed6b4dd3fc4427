#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/XcbConnection.h"
#include "platform/linux/x11/clipboard/X11Pasteboard.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakePasteboard.h"
#include "tests/harness/OtherClipboardUser.h"

#include <QElapsedTimer>
#include <QtTest>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <thread>

using namespace murlo;

namespace {

const QString plain = QStringLiteral("text/plain");
const QString png = QStringLiteral("image/png");
const QString mark = QStringLiteral("x-kde-passwordManagerHint");

QByteArray fingerprint(const QByteArray& bytes) {
    return OtherClipboardUser::fingerprint(bytes);
}

QByteArray noise(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    std::ranges::generate(bytes, [random = std::minstd_rand()]() mutable {
        return static_cast<char>(random() >> 8);
    });
    return bytes;
}

/// A clipboard with another program beside it.
class World : public ContractWorld {
public:
    virtual Pasteboard& pasteboard() = 0;
    virtual void otherCopies(const PasteboardItem& item) = 0;
    virtual void otherHangs(bool hung) = 0;
    virtual void otherExits() = 0;
    /// The fingerprint of what the other program gets by a paste.
    virtual QByteArray otherPastes(const QString& format) = 0;
};

class FakeWorld : public World {
public:
    Pasteboard& pasteboard() override { return m_pasteboard; }
    void otherCopies(const PasteboardItem& item) override {
        PasteboardItem named;
        for (const auto& [format, bytes] : item) named.append({platformName(format), bytes});
        m_pasteboard.foreignCopy(named);
    }
    void otherHangs(bool hung) override { m_pasteboard.foreignHang(hung); }
    void otherExits() override { m_pasteboard.foreignExit(); }
    QByteArray otherPastes(const QString& format) override {
        for (const auto& item : m_pasteboard.items()) {
            for (const auto& [name, bytes] : item) {
                if (name == platformName(format)) return fingerprint(bytes);
            }
        }
        return "none";
    }

private:
    static QString platformName(const QString& format) {
        return format == plain ? QStringLiteral("UTF8_STRING") : format;
    }

    QtScheduler m_scheduler;
    FakePasteboard m_pasteboard{m_scheduler};
};

class RealWorld : public World {
public:
    RealWorld() { m_pasteboard.write({}); } // what happens from now on is noticed
    Pasteboard& pasteboard() override { return m_pasteboard; }
    void otherCopies(const PasteboardItem& item) override { QVERIFY(m_other.copy(item)); }
    void otherHangs(bool hung) override { m_other.hang(hung); }
    void otherExits() override { m_other.kill(); }
    QByteArray otherPastes(const QString& format) override { return m_other.paste(format); }

private:
    OtherClipboardUser m_other;
    X11Pasteboard m_pasteboard;
};

/// A bare X client with a window, for what toolkits do not let a program do.
class BareClient {
public:
    BareClient() {
        xcb_create_window(m_connection, 0, m_window, m_connection.root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    }

    /// What the clipboard's owner answers to a request with this time of an event; "refused" if so.
    QByteArray ask(const char* target, xcb_timestamp_t time = XCB_CURRENT_TIME) {
        const xcb_atom_t property = atom("ANSWER");
        xcb_convert_selection(m_connection, m_window, atom("CLIPBOARD"), atom(target), property,
                              time);
        if (next<xcb_selection_notify_event_t>(XCB_SELECTION_NOTIFY).property == XCB_ATOM_NONE)
            return "refused";
        const XcbPointer<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            m_connection, xcb_get_property(m_connection, 1, m_window, property, 0, 0, 1000),
            nullptr));
        return {static_cast<const char*>(xcb_get_property_value(reply.get())),
                xcb_get_property_value_length(reply.get())};
    }
    void own(const char* selection) {
        xcb_set_selection_owner(m_connection, m_window, atom(selection), XCB_CURRENT_TIME);
        static_cast<void>(atom("its reply means that we own it"));
    }
    /// Waits for a request to what it owns, and answers after some work.
    void serveOnce(const std::function<void()>& work) {
        const auto request = next<xcb_selection_request_event_t>(XCB_SELECTION_REQUEST);
        work();
        xcb_selection_notify_event_t answer{};
        answer.response_type = XCB_SELECTION_NOTIFY;
        answer.requestor = request.requestor;
        answer.selection = request.selection;
        answer.target = request.target;
        answer.property = request.property;
        std::array<char, 32> buffer{};
        std::memcpy(buffer.data(), &answer, sizeof answer);
        xcb_send_event(m_connection, 0, request.requestor, 0, buffer.data());
        xcb_flush(m_connection);
    }

private:
    [[nodiscard]] xcb_atom_t atom(const char* name) {
        return m_connection.atom(QString::fromLatin1(name));
    }
    /// The next event of this type.
    template <typename Event>
    Event next(int type) {
        xcb_flush(m_connection);
        for (;;) {
            const XcbPointer<xcb_generic_event_t> event(xcb_wait_for_event(m_connection));
            if (!event) return {};
            if ((event->response_type & 0x7f) == type)
                return *reinterpret_cast<const Event*>(event.get());
        }
    }

    XcbConnection m_connection;
    const xcb_window_t m_window = xcb_generate_id(m_connection);
};

} // namespace

class PasteboardContractTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<World> m_world;

    Pasteboard& start() {
        m_world = makeWorldOfRow<World, FakeWorld, RealWorld>();
        return m_world->pasteboard();
    }
    /// The other program's copy, seen by ours.
    void copyElsewhere(const PasteboardItem& item) {
        const qint64 before = m_world->pasteboard().changeCount();
        m_world->otherCopies(item);
        QTRY_VERIFY(m_world->pasteboard().changeCount() > before);
    }
    /// A reading that has come to its end.
    std::shared_ptr<PasteboardReading> readAll() {
        const auto reading = m_world->pasteboard().read();
        static_cast<void>(QTest::qWaitFor([&] { return reading->isComplete(); }, 20000));
        return reading;
    }

private Q_SLOTS:
    void cleanup() { m_world.reset(); }

    void aTextIsPastedAndOneForTheUserOutlivesALoan_data() { addWorlds(); }
    void aTextIsPastedAndOneForTheUserOutlivesALoan() {
        Pasteboard& pasteboard = start();
        const QString text = QStringLiteral("Grüße, 世界 👩‍👩‍👧\nsecond line");
        pasteboard.setString(text);
        QCOMPARE(m_world->otherPastes(plain), fingerprint(text.toUtf8()));
        QCOMPARE(m_world->otherPastes(mark), QByteArray("none"));
        const auto kept = pasteboard.read();
        pasteboard.lendString(QStringLiteral("lent"));
        QCOMPARE(m_world->otherPastes(plain), fingerprint("lent"));
        QCOMPARE(m_world->otherPastes(mark), fingerprint("secret"));
        QVERIFY(readAll()->snapshot().items.isEmpty());
        QTRY_VERIFY(kept->isComplete());
        pasteboard.write(kept->snapshot());
        QCOMPARE(m_world->otherPastes(plain), fingerprint(text.toUtf8()));
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
        QCOMPARE(m_world->otherPastes(plain), fingerprint("19"));
        QCoreApplication::processEvents();
        QCOMPARE(pasteboard.changeCount(), last);
        QCOMPARE(reported, 0);

        copyElsewhere({{plain, "theirs"}});
        QTRY_COMPARE(reported, 1);
        QVERIFY(pasteboard.changeCount() > last);
        pasteboard.write({});
        QVERIFY(pasteboard.changeCount() > last + 1);
        QCOMPARE(m_world->otherPastes(plain), QByteArray("none"));
        QCOMPARE(reported, 1);
    }

    void whatWasCopiedComesBackToTheByteUnlessItIsASecret_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<PasteboardItem>("item");
        QTest::addColumn<bool>("hurried"); // a text follows before the reading is complete
        const PasteboardItem text{{plain, "the user's"}};
        const PasteboardItem secret{{plain, "hunter2"}, {mark, "secret"}};
        const PasteboardItem many{{png, noise(3'000'000)},
                                  {QStringLiteral("text/html"), "<b>fett</b>"},
                                  {QStringLiteral("application/x-odd"), noise(1000)},
                                  {QStringLiteral("application/x-empty"), ""},
                                  {plain, "fett"}};
        for (const bool real : {false, true}) {
            const char* const where = real ? "real" : "fake";
            QTest::addRow("%s: a text, in a hurry", where) << real << text << true;
            QTest::addRow("%s: a secret", where) << real << secret << false;
            QTest::addRow("%s: a secret, in a hurry", where) << real << secret << true;
            QTest::addRow("%s: many formats", where) << real << many << false;
        }
        QTest::newRow("real: in pieces") << true << PasteboardItem{{png, noise(64 << 20)}} << false;
    }
    void whatWasCopiedComesBackToTheByteUnlessItIsASecret() {
        QFETCH(PasteboardItem, item);
        QFETCH(bool, hurried);
        const bool isSecret = item.last().first == mark;
        Pasteboard& pasteboard = start();
        copyElsewhere(item);
        auto reading = hurried ? pasteboard.read() : readAll();
        // On a busy machine even a living program may be silent for too long.
        for (int tries = 0; tries < 5 && !hurried && !isSecret; ++tries) {
            if (!reading->snapshot().unread.isEmpty()) reading = readAll();
        }
        pasteboard.setString(QStringLiteral("dictated"));
        QTRY_VERIFY(reading->isComplete());
        const PasteboardSnapshot snapshot = reading->snapshot();
        QCOMPARE(snapshot.items.isEmpty(), isSecret);
        if (!hurried) QCOMPARE(snapshot.unread.isEmpty(), !isSecret);
        pasteboard.write(snapshot);
        for (const auto& [format, bytes] : item)
            QCOMPARE(m_world->otherPastes(format), isSecret ? "none" : fingerprint(bytes));

        // What is ours by now is kept as well as what was theirs.
        const auto own = pasteboard.read();
        pasteboard.setString(QStringLiteral("dictated again"));
        QTRY_VERIFY(own->isComplete());
        QVERIFY(own->snapshot().items == snapshot.items);
    }

    void aHungProgramIsWaitedForByNobodyAndTakesItsContentAlong_data() { addWorlds(); }
    void aHungProgramIsWaitedForByNobodyAndTakesItsContentAlong() {
        Pasteboard& pasteboard = start();
        copyElsewhere({{plain, "theirs"}});
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
        copyElsewhere({{plain, "theirs again"}});
        const PasteboardSnapshot next = readAll()->snapshot();
        QVERIFY(next.unread.isEmpty());
        QCOMPARE(next.items.first().last().second, QByteArray("theirs again"));

        m_world->otherHangs(true);
        const qint64 before = pasteboard.changeCount();
        const auto last = pasteboard.read();
        m_world->otherExits();
        QTRY_VERIFY(last->isComplete());
        QVERIFY(last->snapshot().items.isEmpty());
        QTRY_VERIFY(pasteboard.changeCount() > before);
        const PasteboardSnapshot empty = readAll()->snapshot();
        QVERIFY(empty.items.isEmpty());
        QCOMPARE(empty.unread, QStringList());
    }

    void aRequestorThatDiesInTheMiddleHarmsNobody() {
        X11Pasteboard pasteboard;
        OtherClipboardUser dying;
        OtherClipboardUser living;
        pasteboard.write({{{{png, QByteArray(64 << 20, 'x')}}}, {}});
        dying.beginPaste(png);
        dying.kill();
        const QByteArray small = noise(5'000'000);
        pasteboard.write({{{{png, small}}}, {}});
        QCOMPARE(living.paste(png), fingerprint(small));
    }

    void aSlowProgramGetsWhatWasThereWhenTheUserPasted() {
        X11Pasteboard pasteboard;
        BareClient client;
        const auto now = [&] {
            xcb_timestamp_t value = 0;
            std::memcpy(&value, client.ask("TIMESTAMP").constData(), sizeof value);
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
        QCOMPARE(client.ask(text), QByteArray("the user's"));
        QCOMPARE(client.ask(text, pasted), QByteArray("dictated"));
        QCOMPARE(client.ask(text, pasted - 1), QByteArray("refused"));
        QCOMPARE(client.ask("image/png"), QByteArray("refused"));
    }

    void theClipboardManagerGetsWhatWeLeave() {
        OtherClipboardUser other;
        X11Pasteboard store;
        BareClient manager;
        manager.own("CLIPBOARD_MANAGER");
        std::thread keeping([&] {
            manager.serveOnce([&] {
                const auto reading = store.read();
                while (!reading->isComplete()) std::this_thread::yield();
                store.write(reading->snapshot());
            });
        });
        X11Pasteboard().write({{{{plain, "kept"}}}, {}});
        keeping.join();
        QCOMPARE(other.paste(plain), fingerprint("kept"));
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
