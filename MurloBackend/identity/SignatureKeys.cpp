#include "MurloBackend/identity/SignatureKeys.h"

#include "MurloBackend/identity/Base64Url.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

namespace murlo::backend {

namespace {

constexpr qsizetype coordinateSize = 32; // bytes of a number of P-256
constexpr int smallestRsa = 2048;        // bits, as RFC 7518 section 3.3 demands
constexpr int largestRsa = 8192;         // bits; beyond, verifying costs too much time

template <auto release>
struct Release {
    template <typename T>
    void operator()(T* owned) const {
        release(owned);
    }
};
template <typename T, auto release>
using Owned = std::unique_ptr<T, Release<release>>;
using BigNumber = Owned<BIGNUM, BN_free>;
using Digest = Owned<EVP_MD_CTX, EVP_MD_CTX_free>;
using KeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using EcSignature = Owned<ECDSA_SIG, ECDSA_SIG_free>;
using Memory = Owned<BIO, BIO_free_all>;

std::shared_ptr<EVP_PKEY> own(EVP_PKEY* key) {
    ERR_clear_error();
    return {key, EVP_PKEY_free};
}

const unsigned char* octets(const QByteArray& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}
unsigned char* octets(QByteArray& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}

BigNumber number(const QByteArray& bytes) {
    return BigNumber(BN_bin2bn(octets(bytes), static_cast<int>(bytes.size()), nullptr));
}

/// A public key of this type from what `describe` puts into the builder, checked as far as it can
/// be.
template <typename Describe>
std::shared_ptr<EVP_PKEY> publicKeyOf(const char* type, Describe describe) {
    const Owned<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free> builder(OSSL_PARAM_BLD_new());
    describe(builder.get());
    const Owned<OSSL_PARAM, OSSL_PARAM_free> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const KeyContext maker(EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr));
    EVP_PKEY* made = nullptr;
    if (!parameters || EVP_PKEY_fromdata_init(maker.get()) <= 0 ||
        EVP_PKEY_fromdata(maker.get(), &made, EVP_PKEY_PUBLIC_KEY, parameters.get()) <= 0)
        return own(nullptr);
    auto key = own(made);
    const KeyContext checker(EVP_PKEY_CTX_new(key.get(), nullptr));
    return EVP_PKEY_public_check(checker.get()) == 1 ? key : own(nullptr);
}

std::shared_ptr<EVP_PKEY> rsaKey(const QByteArray& modulus, const QByteArray& exponent) {
    const BigNumber n = number(modulus);
    const BigNumber e = number(exponent);
    const int bits = BN_num_bits(n.get());
    if (bits < smallestRsa || bits > largestRsa || BN_num_bits(e.get()) > 64) return nullptr;
    return publicKeyOf("RSA", [&](OSSL_PARAM_BLD* to) {
        OSSL_PARAM_BLD_push_BN(to, OSSL_PKEY_PARAM_RSA_N, n.get());
        OSSL_PARAM_BLD_push_BN(to, OSSL_PKEY_PARAM_RSA_E, e.get());
    });
}

std::shared_ptr<EVP_PKEY> curveKey(const QByteArray& x, const QByteArray& y) {
    if (x.size() != coordinateSize || y.size() != coordinateSize) return nullptr;
    const QByteArray point = '\x04' + x + y; // uncompressed
    return publicKeyOf("EC", [&](OSSL_PARAM_BLD* to) {
        OSSL_PARAM_BLD_push_utf8_string(to, OSSL_PKEY_PARAM_GROUP_NAME, SN_X9_62_prime256v1, 0);
        OSSL_PARAM_BLD_push_octet_string(to, OSSL_PKEY_PARAM_PUB_KEY, point.constData(),
                                         static_cast<std::size_t>(point.size()));
    });
}

/// From the two numbers one behind the other, as in a token, to the library's encoding.
QByteArray toDer(const QByteArray& signature) {
    if (signature.size() != 2 * coordinateSize) return {};
    const EcSignature parts(ECDSA_SIG_new());
    ECDSA_SIG_set0(parts.get(), number(signature.first(coordinateSize)).release(),
                   number(signature.last(coordinateSize)).release());
    unsigned char* der = nullptr;
    const int size = i2d_ECDSA_SIG(parts.get(), &der);
    const Owned<unsigned char, [](unsigned char* bytes) { OPENSSL_free(bytes); }> owned(der);
    return {reinterpret_cast<const char*>(der), size > 0 ? size : 0};
}

QByteArray fromDer(const QByteArray& der) {
    const unsigned char* at = octets(der);
    const EcSignature parts(d2i_ECDSA_SIG(nullptr, &at, static_cast<long>(der.size())));
    QByteArray result(2 * coordinateSize, '\0');
    BN_bn2binpad(ECDSA_SIG_get0_r(parts.get()), octets(result), coordinateSize);
    BN_bn2binpad(ECDSA_SIG_get0_s(parts.get()), octets(result) + coordinateSize, coordinateSize);
    return result;
}

} // namespace

std::optional<PublicKey> PublicKey::fromJwk(const QJsonObject& jwk) {
    const auto text = [&](const char* member) { return jwk[QLatin1String(member)].toString(); };
    const auto bytes = [&](const char* member) {
        return Base64Url::decode(text(member).toUtf8()).value_or(QByteArray());
    };
    const bool rsa = text("kty") == QLatin1String("RSA");
    const bool curve = text("kty") == QLatin1String("EC") && text("crv") == QLatin1String("P-256");
    const QString algorithm = rsa ? QStringLiteral("RS256") : QStringLiteral("ES256");
    if (!rsa && !curve) return std::nullopt;
    if (jwk.contains(QLatin1String("use")) && text("use") != QLatin1String("sig"))
        return std::nullopt;
    if (jwk.contains(QLatin1String("alg")) && text("alg") != algorithm) return std::nullopt;
    auto key = rsa ? rsaKey(bytes("n"), bytes("e")) : curveKey(bytes("x"), bytes("y"));
    if (!key) return std::nullopt;
    return PublicKey(std::move(key), algorithm);
}

bool PublicKey::verifies(const QByteArray& text, const QByteArray& signature) const {
    const QByteArray encoded = m_algorithm == QLatin1String("ES256") ? toDer(signature) : signature;
    const Digest digest(EVP_MD_CTX_new());
    const bool good =
        !encoded.isEmpty() &&
        EVP_DigestVerifyInit(digest.get(), nullptr, EVP_sha256(), nullptr, m_key.get()) == 1 &&
        EVP_DigestVerify(digest.get(), octets(encoded), static_cast<std::size_t>(encoded.size()),
                         octets(text), static_cast<std::size_t>(text.size())) == 1;
    ERR_clear_error();
    return good;
}

PrivateKey PrivateKey::generate() {
    auto key = own(EVP_EC_gen("P-256"));
    if (!key) qFatal("No key could be made: the system's random source or libcrypto fails.");
    return PrivateKey(std::move(key));
}

std::optional<PrivateKey> PrivateKey::fromPem(const QByteArray& pem) {
    const Memory memory(BIO_new_mem_buf(pem.constData(), static_cast<int>(pem.size())));
    // An encrypted key fails here, instead of asking for its password at the terminal.
    const auto noPassword = [](char*, int, int, void*) { return -1; };
    auto key = own(PEM_read_bio_PrivateKey(memory.get(), nullptr, noPassword, nullptr));
    std::array<char, 32> curve{};
    if (!key || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_EC ||
        EVP_PKEY_get_group_name(key.get(), curve.data(), curve.size(), nullptr) != 1 ||
        qstrcmp(curve.data(), SN_X9_62_prime256v1) != 0)
        return std::nullopt;
    return PrivateKey(std::move(key));
}

namespace {

/// Makes room for a fresh key. A damaged one is worth nothing, but it may be another file.
void setAside(const QString& file) {
    QString aside = file + QStringLiteral(".damaged");
    for (int attempt = 2; QFile::exists(aside); ++attempt)
        aside = QStringLiteral("%1.damaged-%2").arg(file).arg(attempt);
    if (QFile::rename(file, aside))
        qWarning("The key of the sign-in page was damaged; it is now %s, and there is a new one.",
                 qPrintable(QFileInfo(aside).fileName()));
}

} // namespace

PrivateKey PrivateKey::keptIn(const QString& file) {
    if (file.isEmpty()) return generate();
    const auto read = [&]() -> std::optional<PrivateKey> {
        QFile kept(file);
        if (!kept.open(QIODevice::ReadOnly)) return std::nullopt;
        kept.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        auto key = fromPem(kept.read(qint64{16} * 1024));
        if (!key && kept.error() == QFile::NoError) setAside(file);
        return key;
    };
    if (auto key = read()) return *std::move(key);
    PrivateKey fresh = generate();
    QDir().mkpath(QFileInfo(file).path());
    QTemporaryFile written(file + QStringLiteral(".XXXXXX")); // made for its owner alone
    const QByteArray pem = fresh.pem();
    if (written.open() && written.write(pem) == pem.size() && written.flush() &&
        written.rename(file)) {
        written.setAutoRemove(false);
        return fresh;
    }
    // Another process may have been faster: renaming replaces no file.
    if (auto key = read()) return *std::move(key);
    qWarning("The key of the sign-in page cannot be kept: its tokens end with this process.");
    return fresh;
}

QByteArray PrivateKey::pem() const {
    const Memory memory(BIO_new(BIO_s_mem()));
    PEM_write_bio_PKCS8PrivateKey(memory.get(), m_key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<qsizetype>(size)};
}

QByteArray PrivateKey::sign(const QByteArray& text) const {
    const Digest digest(EVP_MD_CTX_new());
    QByteArray der(EVP_PKEY_get_size(m_key.get()), '\0');
    auto size = static_cast<std::size_t>(der.size());
    if (EVP_DigestSignInit(digest.get(), nullptr, EVP_sha256(), nullptr, m_key.get()) != 1 ||
        EVP_DigestSign(digest.get(), octets(der), &size, octets(text),
                       static_cast<std::size_t>(text.size())) != 1)
        qFatal("libcrypto cannot sign.");
    return fromDer(der.first(static_cast<qsizetype>(size)));
}

} // namespace murlo::backend
