#include "Api.h"

#include "MurloBackend/api/Bodies.h"
#include "MurloBackend/api/JsonReplies.h"

namespace murlo::backend {

using store::Failed;
using store::Stored;

namespace {

constexpr qsizetype longestSettings = 1'048'576; ///< bytes

/// What becomes of records that were read, or of a body that was none.
template <typename Records>
Stored<Reply> addBatch(Connection& connection, qint64 account,
                       const std::optional<Records>& records, const QByteArray& shape) {
    if (!records) return problem(400, shape);
    if (!store::add(connection, account, *records)) return tl::unexpected(Failed{});
    return json({{QStringLiteral("accepted"), static_cast<qint64>(records->size())}});
}

/// {"settings": the record as it was given}, or {} without one.
Reply settingsReply(const std::optional<QByteArray>& record) {
    Reply reply;
    if (record) reply.body = "{\"settings\":" + *record + '}';
    return reply;
}

} // namespace

void Api::addRecords() {
    addJson("POST", QStringLiteral("/events"), [this](const auto& request, const auto& respond) {
        asAccount(
            request, true,
            [events = bodies::usageEvents(request.body)](Connection& connection, qint64 account) {
                return addBatch(connection, account, events, "the body is not {'events':[…]}");
            },
            respond);
    });
    addJson("POST", QStringLiteral("/errors"), [this](const auto& request, const auto& respond) {
        asAccount(
            request, true,
            [reports = bodies::errorReports(request.body)](Connection& connection, qint64 account) {
                return addBatch(connection, account, reports, "the body is not {'errors':[…]}");
            },
            respond);
    });
    addJson("POST", QStringLiteral("/funnel"), [this](const auto& request, const auto& respond) {
        const auto ping = bodies::funnelPing(request.body);
        if (!ping) {
            respond(problem(400, "the body is no funnel ping"));
            return;
        }
        inDatabase(
            true,
            [ping = *ping](Connection& connection) -> Stored<Reply> {
                if (!store::add(connection, ping)) return tl::unexpected(Failed{});
                return Reply{};
            },
            respond);
    });
}

void Api::addSettings() {
    addJson("PUT", QStringLiteral("/settings"), [this](const auto& request, const auto& respond) {
        asAccount(
            request, true,
            [record = bodies::settingsRecord(request.body)](Connection& connection,
                                                            qint64 account) -> Stored<Reply> {
                if (!record) return problem(400, "the body is not {'settings':{…}}");
                if (record->size() > longestSettings)
                    return problem(413, "the settings are too long");
                if (!store::putSettings(connection, account, *record))
                    return tl::unexpected(Failed{});
                return Reply{};
            },
            respond);
    });
    m_router.add("GET", QStringLiteral("/settings"),
                 [this](const Request& request, const QByteArray&, const Respond& respond) {
                     asAccount(
                         request, false,
                         [](Connection& connection, qint64 account) -> Stored<Reply> {
                             const auto record = store::settings(connection, account);
                             if (!record) return tl::unexpected(Failed{});
                             return settingsReply(*record);
                         },
                         respond);
                 });
}

} // namespace murlo::backend
