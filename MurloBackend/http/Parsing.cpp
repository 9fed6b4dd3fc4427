#include "Parsing.h"

#include "LingeringSocket.h"

#include <QByteArray>

#include <string>

namespace murlo::backend {

namespace {

/// The target of a message that was completed for its fault, followed by the status; no request can
/// have it.
constexpr char faultTarget[] = " fault ";
/// Pieces of one body; the library keeps a record of each.
constexpr std::size_t mostChunks = 8192;

int statusOf(http_errno error) {
    switch (error) {
    case HPE_CB_headers_complete:
    case HPE_CB_body:
        return 413;
    case HPE_CB_url:
        return 414;
    case HPE_CB_header_field:
    case HPE_CB_header_value:
    case HPE_HEADER_OVERFLOW:
        return 431;
    case HPE_INVALID_VERSION:
        return 505;
    default:
        return 400;
    }
}

/// A blank before the colon, which the parser overlooks and proxies read in another way (RFC 9112,
/// 5.1): "Transfer-Encoding : chunked" would hide where the next request begins.
bool hasBlankInName(const restinio::http_header_fields_t& fields) {
    bool has = false;
    fields.for_each_field(
        [&](const auto& field) { has |= field.name().find(' ') != std::string::npos; });
    return has;
}

/// Whether the client waits for a word before it sends the body (RFC 9110, 10.1.1), of which
/// nothing has come.
bool waitsForContinue(const http_parser& parser, const restinio::impl::http_parser_ctx_t& message) {
    const std::string expected = message.m_header.get_field_or(restinio::http_field::expect, "");
    const bool isHttp11 = parser.http_major == 1 && parser.http_minor >= 1;
    return isHttp11 && qstricmp(expected.c_str(), "100-continue") == 0 && message.m_body.empty() &&
           message.m_chunked_info_block.m_chunks.empty() && !message.m_message_complete;
}

} // namespace

std::size_t parseOrComplete(http_parser* parser, const http_parser_settings* settings,
                            const char* data, std::size_t length) {
    auto& message = *static_cast<restinio::impl::http_parser_ctx_t*>(parser->data);
    const bool hadHeaders = message.m_leading_headers_completed;
    const auto parsed = http_parser_execute(parser, settings, data, length);
    parser->upgrade = 0; // an offer of another protocol is a request like any other
    http_errno error = HTTP_PARSER_ERRNO(parser);
    if (message.m_chunked_info_block.m_chunks.size() > mostChunks) error = HPE_CB_body;
    const bool isWell = error == HPE_OK || error == HPE_PAUSED;
    if (isWell && !hadHeaders && hasBlankInName(message.m_header)) error = HPE_INVALID_HEADER_TOKEN;
    if (isWell && message.m_leading_headers_completed && parser->http_major != 1)
        error = HPE_INVALID_VERSION;
    if (error == HPE_OK || error == HPE_PAUSED) {
        if (!hadHeaders && message.m_leading_headers_completed)
            LingeringSocket::owesContinue() = waitsForContinue(*parser, message);
        return parsed;
    }

    message.m_header = restinio::http_request_header_t{
        restinio::http_method_get(), faultTarget + std::to_string(statusOf(error))};
    message.m_body = std::string();
    message.m_chunked_info_block = {};
    message.m_message_complete = true;
    parser->http_errno = HPE_PAUSED;
    return parsed;
}

std::optional<int> faultOf(const restinio::http_request_header_t& header) {
    const std::string& target = header.request_target();
    if (target.rfind(faultTarget, 0) != 0) return std::nullopt;
    return std::stoi(target.substr(sizeof faultTarget - 1));
}

} // namespace murlo::backend
