#include "host/server/serve_settings.h"

#include "host/address.h"
#include "host/text.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace VESK::Host
{

namespace
{

Failure usage(const QString &what, const QStringList &hints = {})
{
    return {ExitCode::Usage, what, hints};
}

bool parseMode(const std::string &text, int *mode)
{
    bool ok = false;
    *mode = QString::fromStdString(text).toInt(&ok, 8);
    return ok && *mode > 0 && *mode <= 07777;
}

QString fileName(const std::string &text)
{
    return QFile::decodeName(QByteArray::fromStdString(text));
}

bool addNamed(const std::string &text, ServerSettings *settings, Failure *failure)
{
    QString error;
    const std::optional<Share> share = parseShare(fileName(text), &error);
    if (!share) {
        *failure = usage(QStringLiteral("--share %1: %2").arg(escaped(fileName(text)), error));
        return false;
    }
    settings->shares.push_back(*share);
    return true;
}

bool addDirectory(const ServeOptions &options, ServerSettings *settings, Failure *failure)
{
    Share share = shareOfDirectory(fileName(options.directory));
    if (!options.name.empty())
        share.name = QString::fromStdString(options.name);
    const QString fault = findNameFault(share.name);
    if (!fault.isEmpty()) {
        *failure = usage(fault, {QStringLiteral("--name gives it another.")});
        return false;
    }
    settings->shares.push_back(share);
    return true;
}

bool checkShares(const ServerSettings &settings, Failure *failure)
{
    for (const Share &share : settings.shares) {
        if (!QFileInfo(share.directory).isDir()) {
            *failure = usage(QStringLiteral("%1 is not a directory").arg(escaped(share.directory)));
            return false;
        }
        if (settings.findShare(share.name) != &share) {
            *failure = usage(QStringLiteral("two shares bear the name \"%1\"").arg(escaped(share.name)),
                             {QStringLiteral("--name names that of DIR, --share NAME=DIR each other.")});
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<ServerSettings> serverSettings(const ServeOptions &options, Failure *failure)
{
    ServerSettings settings;
    settings.maxConnections = options.maxConnections;
    if (options.directory.empty() && options.shares.empty()) {
        *failure = usage(QStringLiteral("there is nothing to serve; name a DIR, or give --share NAME=DIR"));
        return std::nullopt;
    }
    if (!options.directory.empty() && !addDirectory(options, &settings, failure))
        return std::nullopt;
    for (const std::string &share : options.shares) {
        if (!addNamed(share, &settings, failure))
            return std::nullopt;
    }
    int fileMode = 0;
    int dirMode = 0;
    if (!parseMode(options.fileMode, &fileMode) || !parseMode(options.dirMode, &dirMode)) {
        *failure = usage(QStringLiteral("a mode is an octal number such as 0640"));
        return std::nullopt;
    }
    for (Share &share : settings.shares) {
        share.fileMode = fileMode;
        share.dirMode = dirMode;
    }
    if (!checkShares(settings, failure))
        return std::nullopt;
    return settings;
}

std::optional<SocketAddress> listenAddress(const ServeOptions &options, Failure *failure)
{
    QString error;
    const QString text = QString::fromStdString(options.listen);
    const std::optional<ListenAddress> wanted = parseListenAddress(text, &error);
    if (!wanted) {
        *failure = usage(QStringLiteral("--listen %1: %2").arg(escaped(text), error));
        return std::nullopt;
    }
    const auto addresses = SocketAddress::resolve(wanted->host, wanted->port, AddressFamily::Any, &error);
    if (addresses.empty()) {
        *failure = usage(QStringLiteral("--listen %1: %2").arg(escaped(text), error));
        return std::nullopt;
    }
    return addresses.front();
}

} // namespace VESK::Host
