#include "host/config/config_location.h"

#include "host/text.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace VESK::Host
{

namespace
{

const char *const configVariable = "VESK_CONFIG";

QString homeDirectory()
{
    const QByteArray home = qgetenv("HOME");
    if (!home.isEmpty())
        return QFile::decodeName(home);
    passwd entry{};
    passwd *found = nullptr;
    std::array<char, 4096> buffer{};
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return QFile::decodeName(found->pw_dir);
    return QStringLiteral("/");
}

// Somebody else's home directory, as after `sudo -u`, is no reason to fail.
bool maySafelyBeMissing(int reason, const QString &path)
{
    return reason == ENOENT || reason == ENOTDIR || (reason == EACCES && !QFileInfo::exists(path));
}

} // namespace

QString configDirectory()
{
    const QString given = QFile::decodeName(qgetenv("XDG_CONFIG_HOME"));
    // A relative path is to be ignored, so that it does not depend on where the program was started.
    const QString base =
        given.startsWith(QLatin1Char('/')) ? given : homeDirectory() + QLatin1String("/.config");
    return QDir::cleanPath(base) + QLatin1String("/vesk");
}

QString configPath(const std::string &given)
{
    if (!given.empty())
        return givenFileName(given);
    const QByteArray named = qgetenv(configVariable);
    return named.isEmpty() ? configDirectory() + QLatin1String("/vesk.toml") : QFile::decodeName(named);
}

std::optional<ConfigFile> readConfiguration(const std::string &given, QString *error)
{
    const QString path = configPath(given);
    std::optional<ConfigFile> file = readConfigFile(path);
    if (file)
        return file;
    const int reason = errno;
    const bool isNamed = !given.empty() || !qgetenv(configVariable).isEmpty();
    if (!isNamed && maySafelyBeMissing(reason, path))
        return ConfigFile();
    *error =
        QStringLiteral("cannot read the configuration %1: %2").arg(escaped(path), qt_error_string(reason));
    return std::nullopt;
}

} // namespace VESK::Host
