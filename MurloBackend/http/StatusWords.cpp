#include "StatusWords.h"

namespace murlo::backend {

QByteArray reasonOf(int status) {
    switch (status) {
    case 413:
        return "the body is too long";
    case 414:
        return "the address is too long";
    case 431:
        return "there are too many or too long headers";
    case 505:
        return "this version of HTTP is not spoken here";
    default:
        return "this is no HTTP request";
    }
}

std::string phraseOf(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 302:
        return "Found";
    case 303:
        return "See Other";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 413:
        return "Content Too Large";
    case 414:
        return "URI Too Long";
    case 415:
        return "Unsupported Media Type";
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    case 504:
        return "Gateway Timeout";
    case 505:
        return "HTTP Version Not Supported";
    default:
        return status < 500 ? "Answer" : "Server Error";
    }
}

} // namespace murlo::backend
