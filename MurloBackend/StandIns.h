#pragma once

#include "MurloBackend/identity/Identity.h"
#include "MurloBackend/polish/Polisher.h"

#include <memory>

namespace murlo::backend {

// Until identity/ and polish/ are here.
inline std::unique_ptr<IdTokenVerifier> makeStandInVerifier() {
    struct Refusing : IdTokenVerifier {
        void verify(const QByteArray&,
                    std::function<void(tl::expected<Identity, TokenFault>)> done) override {
            done(tl::unexpected(TokenFault::refused));
        }
    };
    return std::make_unique<Refusing>();
}
inline std::unique_ptr<Polisher> makeStandInPolisher() {
    struct None : Polisher {
        void polish(const QString&, const std::optional<QString>&,
                    std::function<void(tl::expected<QString, int>)> done) override {
            done(tl::unexpected(503));
        }
    };
    return std::make_unique<None>();
}

} // namespace murlo::backend
