#include "host/client/local_tree.h"

#include "host/text.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace VESK::Host
{

namespace
{

QByteArray joined(const QByteArray &directory, const QByteArray &name)
{
    if (directory.isEmpty() || directory.endsWith('/'))
        return directory + name;
    return directory + '/' + name;
}

QString systemText(int error)
{
    return qt_error_string(error);
}

bool isDecodable(const QByteArray &name)
{
    return QString::fromUtf8(name).toUtf8() == name;
}

QString kindText(mode_t mode)
{
    if (S_ISFIFO(mode))
        return QStringLiteral("it is a pipe");
    if (S_ISSOCK(mode))
        return QStringLiteral("it is a socket");
    return QStringLiteral("it is a device");
}

} // namespace

bool LocalTree::walk(const QString &top)
{
    m_levels.clear();
    if (!enter(QFile::encodeName(top), QByteArray()))
        return false;
    while (!m_levels.empty()) {
        Level &level = m_levels.back();
        if (level.subdirectories.empty()) {
            m_levels.pop_back();
            continue;
        }
        const QByteArray name = level.subdirectories.back();
        level.subdirectories.pop_back();
        if (!enter(joined(level.path, name), joined(level.relative, name)))
            return false;
    }
    return true;
}

bool LocalTree::enter(const QByteArray &path, const QByteArray &relative)
{
    struct stat status {
    };
    if (::stat(path.constData(), &status) != 0)
        return skip(relative, systemText(errno));
    if (isLoop(status.st_dev, status.st_ino))
        return skip(relative, loopText());
    m_levels.push_back({path, relative, status.st_dev, status.st_ino, {}});
    bool isEmpty = true;
    if (!read(&m_levels.back(), &isEmpty))
        return false;
    return !isEmpty || m_visitor.emptyDirectory(QString::fromUtf8(relative));
}

bool LocalTree::read(Level *level, bool *isEmpty)
{
    std::error_code error;
    std::filesystem::directory_iterator entry(level->path.toStdString(), error);
    const std::filesystem::directory_iterator end;
    for (; !error && entry != end; entry.increment(error)) {
        if (!visit(QByteArray::fromStdString(entry->path().filename().native()), level, isEmpty))
            return false;
    }
    return !error || skip(level->relative, qt_error_string(error.value()));
}

bool LocalTree::visit(const QByteArray &name, Level *level, bool *isEmpty)
{
    const QByteArray relative = joined(level->relative, name);
    if (!isDecodable(name))
        return skip(relative, QStringLiteral("its name is not valid UTF-8"));
    if (isTemporaryName(QString::fromUtf8(name)))
        return skip(relative, QStringLiteral("it is the partial copy of an interrupted transfer"));
    const QByteArray path = joined(level->path, name);
    struct stat status {
    };
    const bool isKnown = ::stat(path.constData(), &status) == 0;
    const int error = errno;
    const bool isDirectory = isKnown && S_ISDIR(status.st_mode);
    if (m_visitor.takes && !m_visitor.takes(QString::fromUtf8(relative), isDirectory))
        return true;
    if (!isKnown) {
        const bool isGone = error == ENOENT;
        return skip(relative, isGone ? QStringLiteral("the link leads nowhere") : systemText(error));
    }
    if (isDirectory) {
        level->subdirectories.push_back(name);
        *isEmpty = false;
        return true;
    }
    if (!S_ISREG(status.st_mode))
        return skip(relative, kindText(status.st_mode));
    if (::access(path.constData(), R_OK) != 0)
        return skip(relative, QStringLiteral("cannot read it: %1").arg(systemText(errno)));
    *isEmpty = false;
    return m_visitor.file(QString::fromUtf8(relative));
}

bool LocalTree::skip(const QByteArray &relative, const QString &why)
{
    const QByteArray path = relative.isEmpty() && !m_levels.empty() ? m_levels.front().path : relative;
    if (isDecodable(path))
        return m_visitor.skipped(escaped(QString::fromUtf8(path)), why);
    return m_visitor.skipped(escapedBytes(path), why);
}

QString LocalTree::loopText()
{
    return QStringLiteral("the link leads back to a directory above it");
}

bool LocalTree::isLoop(dev_t device, ino_t inode) const
{
    for (const Level &level : m_levels) {
        if (level.device == device && level.inode == inode)
            return true;
    }
    return false;
}

} // namespace VESK::Host
