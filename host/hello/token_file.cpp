#include "host/hello/token_file.h"

#include "host/config/config_location.h"
#include "host/text.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace VESK::Host
{

namespace
{

constexpr int maxFileSize = 1024; // bytes; a token takes 44
constexpr mode_t othersBits = 077;

class Descriptor
{
public:
    explicit Descriptor(int number)
        : m_number(number)
    {
    }
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int number() const { return m_number; }

private:
    const int m_number;
};

QString systemError(const QString &path)
{
    return QStringLiteral("%1: %2").arg(escaped(path), qt_error_string(errno));
}

// Empty when nobody else can get at the token.
QString findExposure(const struct stat &status, const QString &path)
{
    const QString name = escaped(path);
    if (!S_ISREG(status.st_mode))
        return QStringLiteral("%1 is no regular file").arg(name);
    if ((status.st_mode & othersBits) != 0)
        return QStringLiteral("%1 can be read or changed by others; chmod 600 %1").arg(name);
    if (status.st_uid != ::geteuid() && status.st_uid != 0 && ::geteuid() != 0)
        return QStringLiteral("%1 belongs to somebody else").arg(name);
    return QString();
}

bool writeAll(int descriptor, const QByteArray &bytes)
{
    return ::write(descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size())) == bytes.size()
        && ::fsync(descriptor) == 0;
}

bool makePrivateDirectory(const QString &directory)
{
    if (QFileInfo(directory).isDir())
        return true;
    // Of the levels that are missing, only the last is ours alone.
    return QDir().mkpath(QFileInfo(directory).path())
        && (::mkdir(QFile::encodeName(directory).constData(), 0700) == 0 || errno == EEXIST);
}

} // namespace

QString defaultTokenFile()
{
    return configDirectory() + QLatin1String("/token");
}

QString hostTokenFile(const QString &host)
{
    if (host.isEmpty() || host.startsWith(QLatin1Char('.')) || host.contains(QLatin1Char('/')))
        return QString();
    return configDirectory() + QLatin1String("/tokens/") + host;
}

std::optional<Token> readTokenFile(const QString &path, QString *error)
{
    // Not blocking: a pipe of that name would wait for a writer.
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {
    };
    if (file.number() < 0 || ::fstat(file.number(), &status) != 0) {
        *error = systemError(path);
        return std::nullopt;
    }
    *error = findExposure(status, path);
    if (!error->isEmpty())
        return std::nullopt;
    QByteArray text(maxFileSize, Qt::Uninitialized);
    const ssize_t length = ::read(file.number(), text.data(), static_cast<std::size_t>(text.size()));
    text.resize(static_cast<int>(qMax<ssize_t>(0, length)));
    std::optional<Token> token = Token::fromText(text);
    wipe(&text);
    if (!token)
        *error = QStringLiteral("%1 holds no token").arg(escaped(path));
    return token;
}

bool makeTokenFile(const QString &path, QString *error)
{
    const QByteArray target = QFile::encodeName(path);
    QByteArray temporary = target + ".XXXXXX";
    if (!makePrivateDirectory(QFileInfo(path).absolutePath())) {
        *error = systemError(path);
        return false;
    }
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC)); // its mode is 0600
    if (file.number() < 0) {
        *error = systemError(path);
        return false;
    }
    QByteArray text = Token::random().text() + '\n';
    // A link, and not a rename: of two servers that start at once both use the token of the first.
    const bool isThere = writeAll(file.number(), text)
        && (::link(temporary.constData(), target.constData()) == 0 || errno == EEXIST);
    if (!isThere)
        *error = systemError(path);
    ::unlink(temporary.constData());
    wipe(&text);
    return isThere;
}

} // namespace VESK::Host
