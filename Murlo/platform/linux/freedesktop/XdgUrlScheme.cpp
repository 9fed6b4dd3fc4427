#include "platform/linux/freedesktop/XdgUrlScheme.h"

#include "platform/linux/freedesktop/ExecLine.h"
#include "platform/linux/freedesktop/MimeApps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTimer>

namespace murlo {

namespace {

constexpr int programLimit = 5000; // milliseconds
// An entry's name has the scheme between these.
const QString prefix = QStringLiteral("murlo-url-");
const QString suffix = QStringLiteral(".desktop");

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool write(const QString& path, const QByteArray& content) {
    if (QFile::exists(path) && contentOf(path) == content) return true;
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() &&
           file.commit();
}

} // namespace

struct XdgUrlScheme::Entry {
    QString folder;  ///< of the desktop entries
    QString file;    ///< its full path
    QString choices; ///< the full path of mimeapps.list
    QString id;      ///< its file name; empty when the scheme is none
    QString type;

    /// Whether it is what the scheme's addresses are opened with.
    [[nodiscard]] bool isDefault() const {
        return MimeApps::isDefault(contentOf(choices), type.toUtf8(), id.toUtf8());
    }
    /// Whether what stands there under its name, if anything, was written by a Murlo, wherever that
    /// was installed.
    [[nodiscard]] bool isOwn() const {
        static const QRegularExpression exec(QStringLiteral("^Exec=\"?/(?:.*/)?murlo\"? %u$"),
                                             QRegularExpression::MultilineOption);
        const QString text = QString::fromUtf8(contentOf(file));
        return !QFile::exists(file) ||
               (exec.match(text).hasMatch() &&
                text.contains(QStringLiteral("\nMimeType=%1;\n").arg(type)));
    }
};

XdgUrlScheme::XdgUrlScheme(QString dataFolder, QString configFolder, QString program)
    : m_dataFolder(std::move(dataFolder))
    , m_configFolder(std::move(configFolder))
    , m_program(std::move(program)) {}

QString XdgUrlScheme::folder() const {
    return m_dataFolder + QStringLiteral("/applications");
}

QString XdgUrlScheme::choices() const {
    return m_configFolder + QStringLiteral("/mimeapps.list");
}

XdgUrlScheme::Entry XdgUrlScheme::entryOf(const QString& scheme) const {
    // RFC 3986, 3.1. Schemes have no case, but the names of types are compared as they are.
    static const QRegularExpression valid(QStringLiteral("^[a-z][a-z0-9+.-]*\\z"));
    const QString lower = scheme.toLower();
    if (!valid.match(lower).hasMatch()) return {};
    const QString id = prefix + lower + suffix;
    return {folder(), folder() + QLatin1Char('/') + id, choices(), id,
            QStringLiteral("x-scheme-handler/") + lower};
}

void XdgUrlScheme::claim(const QString& scheme, std::function<void(bool)> done) {
    const Entry entry = entryOf(scheme);
    if (entry.id.isEmpty()) return run({}, [done = std::move(done)] { done(false); });
    const QByteArray text = QStringLiteral("[Desktop Entry]\nType=Application\nName=Murlo\n"
                                           "NoDisplay=true\nExec=%1 %u\nIcon=murlo\nMimeType=%2;\n"
                                           "StartupNotify=false\n")
                                .arg(execArgument(m_program), entry.type)
                                .toUtf8();
    QList<QStringList> commands;
    const bool stood = contentOf(entry.file) == text && entry.isDefault();
    const bool written = write(entry.file, text);
    if (written && !stood)
        commands = {{QStringLiteral("xdg-mime"), QStringLiteral("default"), entry.id, entry.type},
                    {QStringLiteral("update-desktop-database"), entry.folder}};
    run(commands, [entry, written, done = std::move(done)] {
        if (written && !entry.isDefault())
            write(entry.choices, MimeApps::withDefault(contentOf(entry.choices),
                                                       entry.type.toUtf8(), entry.id.toUtf8()));
        done(written && entry.isDefault());
    });
}

QList<XdgUrlScheme::Entry> XdgUrlScheme::ownEntries() const {
    static const QRegularExpression chosen(
        QStringLiteral("^[ \\t]*x-scheme-handler/([^ \\t=]+)[ \\t]*=(?:.*[; \\t])?murlo-url-\\1"
                       "\\.desktop(?=[; \\t\\r]|$)"),
        QRegularExpression::MultilineOption);
    QStringList schemes;
    for (const QString& file : QDir(folder()).entryList({prefix + QLatin1Char('*') + suffix}))
        schemes << file.mid(prefix.size()).chopped(suffix.size());
    for (auto match = chosen.globalMatch(QString::fromUtf8(contentOf(choices()))); match.hasNext();)
        schemes << match.next().captured(1);
    schemes.removeDuplicates();
    QList<Entry> entries;
    for (const QString& scheme : schemes) {
        const Entry entry = entryOf(scheme);
        if (!entry.id.isEmpty() && entry.isOwn()) entries << entry;
    }
    return entries;
}

void XdgUrlScheme::release(std::function<void(bool)> done) {
    bool gone = true;
    QList<QStringList> commands;
    for (const Entry& entry : ownEntries()) {
        if (QFile::exists(entry.file)) {
            gone = QFile::remove(entry.file) && gone;
            commands = {{QStringLiteral("update-desktop-database"), entry.folder}};
        }
        const QByteArray before = contentOf(entry.choices);
        const QByteArray after = MimeApps::without(before, entry.type.toUtf8(), entry.id.toUtf8());
        if (after != before) gone = write(entry.choices, after) && gone;
    }
    run(commands, [gone, done = std::move(done)] { done(gone); });
}

void XdgUrlScheme::run(QList<QStringList> commands, std::function<void()> done) {
    if (commands.isEmpty()) {
        QTimer::singleShot(0, &m_owner, std::move(done));
        return;
    }
    QStringList arguments = commands.takeFirst();
    auto* process = new QProcess(&m_owner);
    process->setProgram(arguments.takeFirst());
    process->setArguments(arguments);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_configFolder);
    environment.insert(QStringLiteral("XDG_DATA_HOME"), m_dataFolder);
    process->setProcessEnvironment(environment);
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    const auto next = [this, process, commands, done = std::move(done)] {
        process->deleteLater();
        run(commands, done);
    };
    QObject::connect(process, &QProcess::finished, process, next);
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [next](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) next();
                     });
    QTimer::singleShot(programLimit, process, [process] { process->kill(); });
    process->start();
}

} // namespace murlo
