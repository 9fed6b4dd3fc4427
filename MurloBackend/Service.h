#pragma once

#include "MurloBackend/config/Configuration.h"
#include "MurloBackend/http/LocalGuard.h"

#include <chrono>
#include <memory>
#include <tl/expected.hpp>

namespace murlo::backend {

struct ApiOptions;
struct HttpOptions;

/// The whole server: made of a configuration, it runs between `start` and `stop`.
class Service {
public:
    /// `inheritedSocket`: a listening socket from the service manager, or -1.
    explicit Service(Configuration configuration, int inheritedSocket = -1);
    /// Stops it.
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Opens the database and answers requests from now on. The end that it listens on, or a
    /// sentence for the operator.
    [[nodiscard]] tl::expected<Endpoint, QString> start();
    /// Lets what is under way finish, for a few seconds at most, and closes the database.
    /// Idempotent.
    void stop();
    /// How long no request has been under way or come in.
    [[nodiscard]] std::chrono::steady_clock::duration quietFor() const;

private:
    struct Parts;
    [[nodiscard]] ApiOptions apiOptions() const;
    [[nodiscard]] HttpOptions httpOptions() const;
    void makeVerifier(const Endpoint& own);
    void makePolisher();

    Configuration m_configuration;
    int m_inheritedSocket;
    std::unique_ptr<Parts> m_parts;
};

} // namespace murlo::backend
