#pragma once

#include <string>

/// Builds one JSON object on one line, member by member, in the order given.
class JsonObject {
public:
    JsonObject& text(const std::string& name, const std::string& value);
    JsonObject& integer(const std::string& name, long long value);
    /// Four significant digits; what is not finite becomes null.
    JsonObject& number(const std::string& name, double value);
    JsonObject& object(const std::string& name, const JsonObject& value);

    [[nodiscard]] bool empty() const { return m_members.empty(); }
    [[nodiscard]] std::string line() const { return "{" + m_members + "}"; }

private:
    JsonObject& member(const std::string& name, const std::string& value);

    std::string m_members;
};

/// Writes the object and a line feed to standard output and flushes, so that the line is out even
/// if a driver takes the process down in the next moment.
void print(const JsonObject& object);
