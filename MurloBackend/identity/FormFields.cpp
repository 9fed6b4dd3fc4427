#include "MurloBackend/identity/FormFields.h"

namespace murlo::backend {

namespace {

constexpr qsizetype largestForm = qint64{8} * 1024; // bytes

std::optional<FormFields> fieldsOf(const QUrlQuery& query) {
    FormFields fields;
    const auto items = query.queryItems(QUrl::FullyDecoded);
    for (const auto& [name, value] : items) {
        if (fields.contains(name)) return std::nullopt;
        fields.insert(name, value);
    }
    return fields;
}

} // namespace

std::optional<FormFields> formFieldsOf(const Request& request) {
    const QByteArray type = request.header("Content-Type").split(';').first().trimmed().toLower();
    if (type != "application/x-www-form-urlencoded" || request.body.size() > largestForm)
        return std::nullopt;
    QByteArray body = request.body;
    body.replace('+', "%20"); // as forms write a blank, which `QUrlQuery` leaves alone
    return fieldsOf(QUrlQuery(QString::fromUtf8(body)));
}

std::optional<FormFields> queryFieldsOf(const Request& request) {
    if (request.query.query().size() > largestForm) return std::nullopt;
    return fieldsOf(request.query);
}

} // namespace murlo::backend
