#pragma once

namespace murlo {

/// Neither copied nor moved.
class NonCopyable {
public:
    NonCopyable(const NonCopyable&) = delete;
    NonCopyable& operator=(const NonCopyable&) = delete;

protected:
    NonCopyable() = default;
    ~NonCopyable() = default;
};

/// Base of all interfaces, with a virtual destructor.
class Port : public NonCopyable {
public:
    virtual ~Port() = default;

protected:
    Port() = default;
};

} // namespace murlo
