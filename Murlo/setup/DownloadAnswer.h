#pragma once

#include "platform/HttpClient.h"

#include <QByteArray>
#include <QUrl>

#include <optional>

namespace murlo {

/// What the heads of a download's answers mean. Pure functions; the rules are those of RFC 9110.
namespace DownloadAnswer {

[[nodiscard]] bool isRedirect(int status);
/// Where a redirect leads, if it may be followed: to https anywhere; from http also to http on a
/// loopback address. Neither user names nor fragments are taken along.
[[nodiscard]] std::optional<QUrl> redirectTarget(const QUrl& from, const HttpResponse& head);

/// The announced length of the body; nothing when there is none, or it makes no sense.
[[nodiscard]] std::optional<qint64> contentLength(const HttpResponse& head);
/// Whether the body is the file's very bytes, without compression.
[[nodiscard]] bool isPlain(const HttpResponse& head);

/// What tells this file from another one at the same address, for If-Range: the strong ETag, else
/// the modification date if it lies a minute or more before the answer's. Empty without either.
[[nodiscard]] QByteArray validator(const HttpResponse& head);

/// What a part of a file is continued with.
struct Continuation {
    QByteArray validator;
    qint64 size = 0;  ///< bytes that are there
    qint64 total = 0; ///< bytes of the whole; 0 when not known
};
/// The whole file's size, if this 206 continues that part to the file's end: the range begins where
/// the part ends, the length is right, and the file is the same.
[[nodiscard]] std::optional<qint64> continuedTotal(const HttpResponse& head,
                                                   const Continuation& part);
/// The whole file's size, as a 416 tells it.
[[nodiscard]] std::optional<qint64> refusedTotal(const HttpResponse& head);

} // namespace DownloadAnswer

} // namespace murlo
