#include "Bodies.h"

#include "MurloBackend/api/RawMember.h"
#include "MurloKit/Dates.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <cmath>

namespace murlo::backend::bodies {

namespace {

// The longest texts that are stored, in UTF-16 code units. Kinds and messages are the client's own
// limits; the others are far above what clients send.
constexpr qsizetype longestName = 64;
constexpr qsizetype longestMessage = 512;
constexpr qsizetype longestApplication = 256;
constexpr qsizetype longestDictation = 100'000;

/// A text of at most so many units without the null character, which databases do not take.
std::optional<QString> text(const QJsonObject& object, const QString& name, qsizetype longest) {
    const QJsonValue value = object[name];
    if (!value.isString()) return std::nullopt;
    QString read = value.toString();
    if (read.size() > longest || read.contains(QChar::Null)) return std::nullopt;
    return read;
}

/// The same of a member that may be missing; false if it is there and no such text.
bool readOptional(const QJsonObject& object, const QString& name, qsizetype longest,
                  std::optional<QString>& target) {
    if (object[name].isUndefined() || object[name].isNull()) return true;
    target = text(object, name, longest);
    return target.has_value();
}

std::optional<QString> date(const QJsonObject& object, const QString& name) {
    const auto read = text(object, name, longestName);
    return read && fromIsoSeconds(*read) ? read : std::nullopt;
}

std::optional<QString> identity(const QJsonObject& object, const QString& name) {
    static const QRegularExpression form(
        QStringLiteral("^[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}\\z"));
    const auto read = text(object, name, longestName);
    if (!read || !form.match(*read).hasMatch()) return std::nullopt;
    return read->toUpper();
}

std::optional<double> amount(const QJsonObject& object, const QString& name) {
    const QJsonValue value = object[name];
    if (!value.isDouble() || !(value.toDouble() >= 0) || value.toDouble() > 1e9)
        return std::nullopt;
    return value.toDouble();
}

std::optional<UsageEvent> usageEvent(const QJsonObject& object) {
    const auto id = identity(object, QStringLiteral("id"));
    const auto type = text(object, QStringLiteral("type"), longestName);
    const auto clientTs = date(object, QStringLiteral("clientTs"));
    const auto duration = amount(object, QStringLiteral("durationS"));
    const auto words = amount(object, QStringLiteral("wordCount"));
    const auto version = text(object, QStringLiteral("appVersion"), longestName);
    UsageEvent event;
    const bool isGood =
        id && type && !type->isEmpty() && clientTs && duration && words &&
        std::floor(*words) == *words && version &&
        readOptional(object, QStringLiteral("targetApp"), longestApplication, event.targetApp);
    if (!isGood) return std::nullopt;
    return UsageEvent{
        *id, *type, *clientTs, *duration, static_cast<qint64>(*words), event.targetApp, *version};
}

std::optional<ErrorReport> errorReport(const QJsonObject& object) {
    const auto id = identity(object, QStringLiteral("id"));
    const auto kind = text(object, QStringLiteral("kind"), longestName);
    const auto message = text(object, QStringLiteral("message"), longestMessage);
    const auto clientTs = date(object, QStringLiteral("clientTs"));
    const auto version = text(object, QStringLiteral("appVersion"), longestName);
    if (!id || !kind || kind->isEmpty() || !message || !clientTs || !version) return std::nullopt;
    return ErrorReport{*id, *kind, *message, *clientTs, *version};
}

/// The stages that installations tell of. Anybody may send a ping, so nothing else is stored.
bool isFunnelStage(const QString& stage) {
    return stage == QLatin1String("launched") || stage == QLatin1String("onboarded");
}

template <typename Record>
std::optional<QList<Record>> batch(const QByteArray& body, const QString& name,
                                   std::optional<Record> (*read)(const QJsonObject&)) {
    const auto whole = object(body);
    if (!whole || !(*whole)[name].isArray()) return std::nullopt;
    QList<Record> good;
    const QJsonArray records = (*whole)[name].toArray();
    for (const auto& record : records)
        if (const auto one = read(record.toObject())) good << *one;
    return good;
}

/// Whether the record has every member that its readers need, of the type that they need.
bool isSettingsRecord(const QJsonObject& record) {
    const std::pair<QString, QJsonValue::Type> members[] = {
        {QStringLiteral("triggerKey"), QJsonValue::String},
        {QStringLiteral("pickTargetKey"), QJsonValue::String},
        {QStringLiteral("insertMode"), QJsonValue::String},
        {QStringLiteral("language"), QJsonValue::String},
        {QStringLiteral("playSounds"), QJsonValue::Bool},
        {QStringLiteral("doubleTapWindow"), QJsonValue::Double},
        {QStringLiteral("holdThreshold"), QJsonValue::Double},
        {QStringLiteral("maxRecordingSeconds"), QJsonValue::Double},
        {QStringLiteral("initialPrompt"), QJsonValue::String},
    };
    for (const auto& [name, type] : members)
        if (record[name].type() != type) return false;
    const QJsonValue enhance = record[QStringLiteral("enhancePrompt")];
    return enhance.isUndefined() || enhance.isBool();
}

} // namespace

std::optional<QJsonObject> object(const QByteArray& body) {
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isObject()) return std::nullopt;
    return document.object();
}

std::optional<QByteArray> idToken(const QByteArray& body) {
    const auto whole = object(body);
    if (!whole || !(*whole)[QStringLiteral("idToken")].isString()) return std::nullopt;
    return (*whole)[QStringLiteral("idToken")].toString().toUtf8();
}

std::optional<QList<UsageEvent>> usageEvents(const QByteArray& body) {
    return batch<UsageEvent>(body, QStringLiteral("events"), usageEvent);
}

std::optional<QList<ErrorReport>> errorReports(const QByteArray& body) {
    return batch<ErrorReport>(body, QStringLiteral("errors"), errorReport);
}

std::optional<FunnelPing> funnelPing(const QByteArray& body) {
    const auto whole = object(body);
    if (!whole) return std::nullopt;
    const auto installId = identity(*whole, QStringLiteral("installId"));
    const auto stage = text(*whole, QStringLiteral("stage"), longestName);
    const auto clientTs = date(*whole, QStringLiteral("clientTs"));
    std::optional<QString> version;
    if (!installId || !stage || !isFunnelStage(*stage) || !clientTs ||
        !readOptional(*whole, QStringLiteral("appVersion"), longestName, version))
        return std::nullopt;
    return FunnelPing{*installId, *stage, *clientTs, version};
}

std::optional<PolishRequest> polishRequest(const QByteArray& body) {
    const auto whole = object(body);
    if (!whole) return std::nullopt;
    const auto dictated = text(*whole, QStringLiteral("text"), longestDictation);
    std::optional<QString> targetApp;
    if (!dictated ||
        !readOptional(*whole, QStringLiteral("targetApp"), longestApplication, targetApp))
        return std::nullopt;
    return PolishRequest{*dictated, targetApp};
}

std::optional<QByteArray> settingsRecord(const QByteArray& body) {
    const auto whole = object(body);
    const auto name = QStringLiteral("settings");
    if (!whole || !(*whole)[name].isObject()) return std::nullopt;
    const QJsonObject record = (*whole)[name].toObject();
    if (!isSettingsRecord(record)) return std::nullopt;
    // The same, unless the name is written with escapes.
    const QByteArray raw = rawMember(body, "settings");
    return object(raw) == record ? raw : QJsonDocument(record).toJson(QJsonDocument::Compact);
}

} // namespace murlo::backend::bodies
