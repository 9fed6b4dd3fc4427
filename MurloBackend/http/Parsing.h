#pragma once

#include <cstddef>
#include <http_parser.h>
#include <optional>

namespace murlo::backend {

/// Parses as `http_parser_execute` does, but completes a message that exceeds a limit or is no
/// HTTP, so that it reaches the handler like a request.
std::size_t parseOrComplete(http_parser* parser, const http_parser_settings* settings,
                            const char* data, std::size_t length);

} // namespace murlo::backend

// RESTinio closes the connection without a word when a message exceeds a limit or cannot be parsed.
// Its calls of the parser go through the function above; so it is included here alone.
#define http_parser_execute ::murlo::backend::parseOrComplete
#include <restinio/http_server.hpp>
#include <restinio/message_builders.hpp>
#undef http_parser_execute

namespace murlo::backend {

/// The status to answer a message with that was completed for its fault; nothing for a request.
[[nodiscard]] std::optional<int> faultOf(const restinio::http_request_header_t& header);

} // namespace murlo::backend
