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

/// An interface: destroying one destroys what stands behind it.
class Port : public NonCopyable {
public:
    virtual ~Port() = default;

protected:
    Port() = default;
};

} // namespace murlo
