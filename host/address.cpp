#include "host/address.h"

#include <QtCore/QByteArray>
#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>

namespace VESK::Host
{

namespace
{

const QString scheme = QStringLiteral("vesk://");

// Splits "NAME<rest>" and "[V6]<rest>" after the host part; the rest begins at the separator.
struct HostPart {
    QString host;
    QString rest;
};

std::optional<HostPart> splitHost(const QString &text, const QString &separators, QString *error)
{
    if (text.startsWith(QLatin1Char('['))) {
        const int end = text.indexOf(QLatin1Char(']'));
        if (end < 2) {
            *error = QStringLiteral("the bracket of the IPv6 address is not closed or is empty");
            return std::nullopt;
        }
        return HostPart{text.mid(1, end - 1), text.mid(end + 1)};
    }
    int end = 0;
    while (end < text.size() && !separators.contains(text.at(end)))
        ++end;
    return HostPart{text.left(end), text.mid(end)};
}

std::optional<quint16> parsePort(const QString &text, QString *error)
{
    bool ok = false;
    const ushort port = text.toUShort(&ok, 10);
    const bool isPlain = !text.isEmpty() && text.at(0).isDigit(); // toUShort takes "+1" as well
    if (!ok || !isPlain) {
        *error = QStringLiteral("\"%1\" is no port number").arg(text);
        return std::nullopt;
    }
    return port;
}

// "2001:db8::7:share" could be split in several places. No name of a share holds a colon.
bool isBareIpv6(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^[0-9A-Fa-f.]*:[0-9A-Fa-f:.]*:"));
    return form.match(text).hasMatch();
}

// "%41" is one byte; a "%" without two hexadecimal digits stands for itself.
QString decodeEscapes(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    QByteArray decoded;
    for (int i = 0; i < bytes.size(); ++i) {
        bool ok = false;
        const int code = bytes.at(i) == '%' && i + 2 < bytes.size() ? bytes.mid(i + 1, 2).toInt(&ok, 16) : 0;
        if (ok) {
            decoded += static_cast<char>(code);
            i += 2;
        } else {
            decoded += bytes.at(i);
        }
    }
    return QString::fromUtf8(decoded);
}

bool splitSharePath(const QString &text, RemoteAddress *address, QString *error)
{
    QStringList parts;
    const QStringList all = text.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &part : all) {
        if (part == QLatin1String("..")) {
            *error = QStringLiteral("the remote path must not contain \"..\"");
            return false;
        }
        if (part != QLatin1String("."))
            parts.append(part);
    }
    if (parts.isEmpty()) {
        *error = QStringLiteral("the name of the share is missing");
        return false;
    }
    address->share = parts.takeFirst();
    address->path = parts.join(QLatin1Char('/'));
    return true;
}

void takeUser(QString *text, RemoteAddress *address)
{
    const int firstEnd = text->indexOf(QLatin1Char('/'));
    const int at = text->left(firstEnd < 0 ? text->size() : firstEnd).indexOf(QLatin1Char('@'));
    const int colon = text->indexOf(QLatin1Char(':'));
    if (at < 0 || (colon >= 0 && colon < at && !text->startsWith(QLatin1Char('['))))
        return;
    address->user = text->left(at);
    *text = text->mid(at + 1);
}

std::optional<RemoteAddress> parseUrl(QString text, QString *error)
{
    RemoteAddress address;
    takeUser(&text, &address);
    const std::optional<HostPart> part = splitHost(text, QStringLiteral(":/"), error);
    if (!part)
        return std::nullopt;
    address.host = part->host;
    QString rest = part->rest;
    if (rest.startsWith(QLatin1Char(':'))) {
        const int end = rest.indexOf(QLatin1Char('/'));
        const std::optional<quint16> port = parsePort(rest.mid(1, end < 0 ? -1 : end - 1), error);
        if (!port)
            return std::nullopt;
        if (*port == 0) {
            *error = QStringLiteral("0 is no port that a server can have");
            return std::nullopt;
        }
        address.port = *port;
        rest = end < 0 ? QString() : rest.mid(end);
    }
    if (!splitSharePath(decodeEscapes(rest), &address, error))
        return std::nullopt;
    return address;
}

std::optional<RemoteAddress> parsePlain(QString text, QString *error)
{
    RemoteAddress address;
    takeUser(&text, &address);
    if (isBareIpv6(text)) {
        *error = QStringLiteral("an IPv6 address stands in brackets, as in [2001:db8::7]:SHARE");
        return std::nullopt;
    }
    const std::optional<HostPart> part = splitHost(text, QStringLiteral(":"), error);
    if (!part)
        return std::nullopt;
    address.host = part->host;
    if (!part->rest.startsWith(QLatin1Char(':')) || address.host.contains(QLatin1Char('/'))) {
        *error =
            QStringLiteral("it names no server; write HOST:SHARE[/DIR] or vesk://HOST[:PORT]/SHARE[/DIR]");
        return std::nullopt;
    }
    if (!splitSharePath(part->rest.mid(1), &address, error))
        return std::nullopt;
    return address;
}

} // namespace

std::optional<RemoteAddress> parseRemoteAddress(const QString &text, QString *error)
{
    std::optional<RemoteAddress> address =
        text.startsWith(scheme) ? parseUrl(text.mid(scheme.size()), error) : parsePlain(text, error);
    if (address && address->host.isEmpty()) {
        *error = QStringLiteral("the name of the server is missing");
        return std::nullopt;
    }
    return address;
}

std::optional<ListenAddress> parseListenAddress(const QString &text, QString *error)
{
    const std::optional<HostPart> part = splitHost(text, QStringLiteral(":"), error);
    if (!part)
        return std::nullopt;
    ListenAddress address;
    address.host = part->host.isEmpty() ? QStringLiteral("0.0.0.0") : part->host;
    if (part->rest.isEmpty() && !part->host.isEmpty())
        return address;
    if (!part->rest.startsWith(QLatin1Char(':'))) {
        *error = QStringLiteral("write ADDR:PORT");
        return std::nullopt;
    }
    const std::optional<quint16> port = parsePort(part->rest.mid(1), error);
    if (!port)
        return std::nullopt;
    address.port = *port;
    return address;
}

} // namespace VESK::Host
