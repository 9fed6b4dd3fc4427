#pragma once

#include "platform/UrlScheme.h"

#include <QObject>
#include <QStringList>

namespace murlo {

/// The handler of a scheme as a hidden desktop entry of the user's, set as the default for
/// "x-scheme-handler/SCHEME" in the user's mimeapps.list (XDG MIME Applications Specification).
///
/// On sessions with only a window manager, xdg-open 1.1.3 takes addresses whose scheme holds a
/// digit for file names, and does not get here; browsers and desktops ask for the handler
/// themselves.
class XdgUrlScheme : public UrlScheme {
public:
    /// `dataFolder` is $XDG_DATA_HOME (or ~/.local/share), `configFolder` $XDG_CONFIG_HOME (or
    /// ~/.config); `program` the full path that is started with the address.
    XdgUrlScheme(QString dataFolder, QString configFolder, QString program);

    void claim(const QString& scheme, std::function<void(bool)> done) override;
    void release(std::function<void(bool)> done) override;

private:
    /// The desktop entry of one scheme.
    struct Entry;

    [[nodiscard]] Entry entryOf(const QString& scheme) const;
    [[nodiscard]] QString folder() const;  ///< of the desktop entries
    [[nodiscard]] QString choices() const; ///< the full path of mimeapps.list
    /// The entries that Murlo has made, or that the user's choices still name.
    [[nodiscard]] QList<Entry> ownEntries() const;
    /// Runs programs one after another, as far as they are there, and then `done`.
    void run(QList<QStringList> commands, std::function<void()> done);

    QString m_dataFolder;
    QString m_configFolder;
    QString m_program;
    QObject m_owner; ///< of what is under way
};

} // namespace murlo
