#include "tests/hostile/hostile_peer.h"

#include "vesk_base/frame.h"
#include "vesk_base/param_text.h"

#include <QtCore/QtEndian>

#include <array>

namespace VESK::Test
{

namespace
{

constexpr int hearMs = 10; // how long it waits for what the other end may say

const std::array<const char *, 38> keys{
    "operator",
    "fileName",
    "srcPath",
    "destPath",
    "rootPath",
    "userName",
    "appKey",
    "appVersion",
    "bVerify",
    "bReplace",
    "mac",
    "total",
    "offset",
    "fileSize",
    "mtime",
    "verifyValue",
    "tmpFilePath",
    "path",
    "ackRespond",
    "errorType",
    "errorName",
    "bTransfer",
    "bTruncate",
    "verifyResult",
    "bLast",
    "mountPath",
    "appPath",
    "fileMod",
    "dirMod",
    "logFile",
    "endPoint",
    "serverSocket",
    "clientSocket",
    "respondStatus",
    "_errorStr",
    "_protocol",
    "transferEndSize",
    "",
};

const std::array<const char *, 38> texts{
    "",
    "true",
    "false",
    "upload",
    "download",
    "list",
    "createDir",
    "return",
    "xxh128",
    "md5",
    "fileattr",
    "sha256",
    "0",
    "1",
    "-1",
    "100",
    "4096",
    "300000",
    "999999999999999999999999",
    "9223372036854775807",
    "-9223372036854775808",
    "4294967295",
    "1e9",
    "file.bin",
    "box",
    "box/deep",
    ".",
    "..",
    "../..",
    "../../outside/precious",
    "/etc",
    "//",
    "a/../../b",
    "%1%2%3",
    "app",
    "server",
    "client",
    "777",
};

} // namespace

QString HostileWords::pathText()
{
    QString path;
    for (int i = any(6); i >= 0; --i) {
        path += QLatin1String(texts[static_cast<std::size_t>(any(static_cast<int>(texts.size())))]);
        path += QLatin1Char('/');
    }
    return path;
}

QString HostileWords::text()
{
    switch (any(12)) {
    case 0:
        return pathText();
    case 1:
        return QString(any(happens(10) ? 70000 : 600), QLatin1Char('n'));
    case 2:
        return QStringLiteral("a/").repeated(any(happens(10) ? 20000 : 100));
    case 3:
        return QStringLiteral("nul") + QChar(0) + QStringLiteral("in it");
    case 4:
        return QStringLiteral("half ") + QChar(0xD800 + any(0x800));
    case 5:
        return QString::fromLatin1(bytes(300));
    default:
        return QLatin1String(texts[static_cast<std::size_t>(any(static_cast<int>(texts.size())))]);
    }
}

QByteArray HostileWords::bytes(int maxSize)
{
    QByteArray bytes(any(maxSize + 1), '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(m_random());
    return bytes;
}

QString HostileWords::key()
{
    return happens(90) ? QLatin1String(keys[static_cast<std::size_t>(any(static_cast<int>(keys.size())))])
                       : text();
}

ParamMap HostileWords::taskParam()
{
    const std::array<const char *, 4> operations{"upload", "download", "list", "createDir"};
    const std::array<const char *, 4> modes{"false", "xxh128", "md5", "fileattr"};
    return {{"operator", operations[static_cast<std::size_t>(any(4))]},
            {"fileName", happens(50) ? QStringLiteral("file.bin") : QStringLiteral("new%1").arg(any(50))},
            {"srcPath", happens(50) ? "box" : ""},
            {"destPath", happens(50) ? "box" : "made/below"},
            {"rootPath", "root"},
            {"userName", "user"},
            {"appKey", "app"},
            {"appVersion", "1"},
            {"bVerify", modes[static_cast<std::size_t>(any(4))]},
            {"bReplace", happens(50) ? "true" : "false"},
            {"mac", "m"},
            {"offset", QString::number(any(3000))},
            {"fileSize", QString::number(any(30000))},
            {"mtime", QString::number(any(2000000000))},
            {"verifyValue", "value"}};
}

ParamMap HostileWords::answer()
{
    return {{"ackRespond", happens(90) ? "true" : "false"}, {"bTransfer", happens(80) ? "true" : "false"},
            {"bTruncate", happens(20) ? "true" : "false"},  {"offset", QString::number(any(3000))},
            {"fileSize", QString::number(any(30000))},      {"verifyValue", "value"},
            {"mtime", QString::number(any(2000000000))},    {"verifyResult", happens(50) ? "true" : "false"}};
}

ParamMap HostileWords::listing()
{
    ParamMap map{{"bLast", happens(10) ? "true" : "false"}};
    for (int i = any(300); i > 0; --i)
        map.insert(happens(95) ? QStringLiteral("entry%1").arg(any(100000)) : text(),
                   happens(98) ? QStringLiteral("file") : text());
    return map;
}

ParamMap HostileWords::mutated(ParamMap map)
{
    for (int i = any(4); i > 0; --i) {
        if (happens(20))
            map.remove(key());
        else
            map.insert(key(), text());
    }
    for (int i = happens(3) ? any(200) : 0; i > 0; --i)
        map.insert(QStringLiteral("more%1").arg(i), text().left(100));
    return map;
}

HostilePeer::HostilePeer(UDTSOCKET socket, const QString &endPoint, HostileWords &words)
    : m_socket(socket)
    , m_isClient(endPoint == QLatin1String("client"))
    , m_words(words)
{
    const int timeout = hearMs;
    UDT::setsockopt(socket, 0, UDT_RCVTIMEO, &timeout, sizeof timeout);
    UDT::setsockopt(socket, 0, UDT_SNDTIMEO, &timeout, sizeof timeout);
}

void HostilePeer::talk()
{
    open();
    for (int actions = m_words.any(12); actions > 0; --actions)
        act();
}

// Mostly what gets a conversation going, so that the later steps see nonsense, too.
void HostilePeer::open()
{
    if (m_words.happens(10))
        return;
    if (m_isClient) {
        sendMap(number(MessageKind::TaskParam),
                m_words.happens(50) ? m_words.taskParam() : m_words.mutated(m_words.taskParam()));
        hear();
        return;
    }
    hear();
    sendMap(number(MessageKind::TaskParamAck),
            m_words.happens(50) ? m_words.answer() : m_words.mutated(m_words.answer()));
}

void HostilePeer::act()
{
    switch (m_words.any(9)) {
    case 0:
        return sendBytes(m_words.bytes(40000));
    case 1:
        return hear();
    case 2:
        return sendMap(number(MessageKind::FileVerifyResult), m_words.mutated(m_words.answer()));
    case 3:
        return sendMap(number(MessageKind::Closing), m_words.mutated({{"fileName", "file.bin"}}));
    case 4:
        return sendMap(m_words.any(12), m_words.mutated(m_words.taskParam()));
    case 5:
    case 6:
        for (int i = m_words.any(m_words.happens(10) ? 100 : 5); i > 0; --i)
            sendMap(number(MessageKind::ListContent), m_words.listing());
        return;
    case 7:
        return sendFrame(m_words.any(50), m_words.bytes(2000));
    default:
        QByteArray frame = writeFrame(m_words.any(12), writeParamText(m_words.taskParam())).value_or("");
        if (m_words.happens(50))
            frame.truncate(m_words.any(frame.size() + 1));
        else if (!frame.isEmpty())
            frame[m_words.any(qMin(frame.size(), 12))] = static_cast<char>(m_words.any(256));
        return sendBytes(frame);
    }
}

void HostilePeer::sendMap(int kind, const ParamMap &map)
{
    sendBytes(writeFrame(kind, writeParamText(map)).value_or(QByteArray()));
}

/// A frame whose length is true, or not.
void HostilePeer::sendFrame(int kind, const QByteArray &payload)
{
    QByteArray frame = writeFrame(kind, QString()).value_or(QByteArray());
    const bool isHonest = m_words.happens(70);
    qToBigEndian(static_cast<quint32>(isHonest ? payload.size() : m_words.any(1 << 21)), frame.data() + 8);
    sendBytes(frame + payload);
}

/// Gives up when the other end reads no more.
void HostilePeer::sendBytes(const QByteArray &bytes)
{
    int sent = 0;
    while (sent < bytes.size()) {
        const int count = UDT::send(m_socket, bytes.constData() + sent, bytes.size() - sent, 0);
        if (count <= 0)
            return;
        sent += count;
    }
}

/// Reads what is there, once.
void HostilePeer::hear()
{
    std::array<char, 65536> buffer;
    (void)UDT::recv(m_socket, buffer.data(), static_cast<int>(buffer.size()), 0); // whatever it is
}

} // namespace VESK::Test
