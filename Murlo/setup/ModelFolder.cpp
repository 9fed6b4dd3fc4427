#include "setup/ModelFolder.h"

#include "MurloKit/DiskSpace.h"
#include "platform/FileSystem.h"
#include "setup/ModelFile.h"
#include "setup/PartialModel.h"
#include "support/Log.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QScopeGuard>

#include <filesystem>

namespace murlo {

namespace {

std::filesystem::path native(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

} // namespace

tl::expected<QString, Message> ModelFolder::importModel(const QString& file) const {
    const QString from = QFileInfo(file).canonicalFilePath();
    QFile model(from);
    // What is no ordinary file might never end, or wait for somebody.
    if (!QFileInfo(from).isFile() || !model.open(QIODevice::ReadOnly))
        return tl::unexpected(Message(Word::fileNotReadable));
    if (!ModelFile::isWhole(model)) return tl::unexpected(Message(Word::noModelFile));
    QDir().mkpath(m_folder);
    const QDir folder(m_folder);
    for (const QFileInfo& there : folder.entryInfoList({QStringLiteral("*.bin")}, QDir::Files)) {
        std::error_code error;
        const QString path = there.absoluteFilePath();
        if (std::filesystem::equivalent(native(path), native(from), error)) return path;
    }
    QString path = m_folder + QLatin1Char('/') + freeName(file);
    if (auto placed = place(from, path); !placed) return tl::unexpected(placed.error());
    Log::write(QStringLiteral("setup: model installed"));
    return path;
}

/// A name that ends in ".bin", is visible, plain to every program, and not taken.
QString ModelFolder::freeName(const QString& file) const {
    static const QRegularExpression unusual(QStringLiteral("[^A-Za-z0-9._-]+"));
    static const QRegularExpression leading(QStringLiteral("^[.-]+"));
    constexpr int longest = 100; // characters; file systems take 255 bytes
    QString base = QFileInfo(file).fileName();
    if (base.endsWith(QLatin1String(".bin"), Qt::CaseInsensitive)) base.chop(4);
    base.replace(unusual, QStringLiteral("-")).remove(leading).truncate(longest);
    if (base.isEmpty()) base = QStringLiteral("model");
    QString name = base + QStringLiteral(".bin");
    for (int number = 2; QFileInfo::exists(m_folder + QLatin1Char('/') + name); ++number)
        name = QStringLiteral("%1-%2.bin").arg(base).arg(number);
    return name;
}

tl::expected<void, Message> ModelFolder::place(const QString& file, const QString& path) const {
    std::error_code error;
    std::filesystem::create_hard_link(native(file), native(path), error);
    if (!error) return {};
    const auto free = m_disk.availableBytes(m_folder);
    const qint64 needed = QFileInfo(file).size() + DiskSpace::reserve;
    if (const auto refusal = DiskSpace::check(free.value_or(needed), needed))
        return tl::unexpected(*refusal);
    const QString copy = path + QStringLiteral(".import");
    QFile::remove(copy);
    const auto clearing = qScopeGuard([&copy] { QFile::remove(copy); });
    std::filesystem::copy_file(native(file), native(copy), error);
    if (!error && !m_disk.sync(copy)) error = std::make_error_code(std::errc::io_error);
    if (!error) std::filesystem::rename(native(copy), native(path), error);
    if (!error) {
        (void)m_disk.sync(m_folder);
        return {};
    }
    Log::write(QStringLiteral("setup: ") + QString::fromLocal8Bit(error.message().c_str()));
    return tl::unexpected(Message(Word::modelNotSaved));
}

bool ModelFolder::deleteModel(const QString& path) const {
    const QFileInfo model(path);
    if (model.absolutePath() != QFileInfo(m_folder).absoluteFilePath() ||
        model.suffix() != QLatin1String("bin"))
        return false;
    PartialModel::discard(m_folder, model.fileName());
    QFile file(path);
    if (!file.exists() || file.remove()) return true;
    Log::write(QStringLiteral("setup: a model cannot be removed: ") + file.errorString());
    return false;
}

} // namespace murlo
