#include "Json.h"

#include <cmath>
#include <cstdio>

namespace {

/// The text between quotation marks. Bytes that are no printable ASCII (a driver's name may hold
/// any) become question marks, so that the output is UTF-8 whatever came in.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c >= ' ' && c <= '~' ? c : '?';
    }
    return result + "\"";
}

} // namespace

JsonObject& JsonObject::text(const std::string& name, const std::string& value) {
    return member(name, quoted(value));
}

JsonObject& JsonObject::integer(const std::string& name, long long value) {
    return member(name, std::to_string(value));
}

JsonObject& JsonObject::number(const std::string& name, double value) {
    if (!std::isfinite(value)) return member(name, "null");
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.4g", value);
    return member(name, digits);
}

JsonObject& JsonObject::object(const std::string& name, const JsonObject& value) {
    return member(name, value.line());
}

JsonObject& JsonObject::member(const std::string& name, const std::string& value) {
    if (!m_members.empty()) m_members += ',';
    m_members += quoted(name) + ":" + value;
    return *this;
}

void print(const JsonObject& object) {
    std::puts(object.line().c_str());
    std::fflush(stdout);
}
