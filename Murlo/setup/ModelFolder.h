#pragma once

#include "MurloKit/Message.h"
#include "support/Paths.h"

#include <QString>

#include <tl/expected.hpp>

namespace murlo {

class FileSystem;

/// Speech models that the user brings along or no longer wants. Any thread; blocks for as long as
/// the disk does, which for a copy of a model is seconds to minutes.
class ModelFolder {
public:
    ModelFolder(const FileSystem& disk, const Paths& paths)
        : m_disk(disk)
        , m_folder(paths.models()) {}

    /// Puts a file from elsewhere among the models, as a link where that is possible, else as a
    /// copy, under its own name as far as a model can be called so; never over another file. Gives
    /// the path there, or a sentence for the user.
    [[nodiscard]] tl::expected<QString, Message> importModel(const QString& file) const;

    /// Removes a model of the folder, and what has come of a download of it. Models elsewhere are
    /// not touched. True when the file is gone; the log says why not.
    [[nodiscard]] bool deleteModel(const QString& path) const;

private:
    [[nodiscard]] QString freeName(const QString& file) const;
    [[nodiscard]] tl::expected<void, Message> place(const QString& file, const QString& path) const;

    const FileSystem& m_disk;
    QString m_folder;
};

} // namespace murlo
