#include "host/hello/hello_messages.h"

#include "host/hello/hello_proof.h"

#include "vesk_base/vesk_base.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

constexpr int maxUserLength = 255; // characters
constexpr int maxWords = 64; // of one list

const QString helloKey = QStringLiteral("hello");
const QString versionKey = QStringLiteral("version");
const QString moduleKey = QStringLiteral("module");
const QString verifyModesKey = QStringLiteral("verifyModes");
const QString userKey = QStringLiteral("user");
const QString nonceKey = QStringLiteral("nonce");
const QString authKey = QStringLiteral("auth");
const QString sharesKey = QStringLiteral("shares");
const QString proofKey = QStringLiteral("proof");
const QString clockKey = QStringLiteral("clockMs");
const QString noneWord = QStringLiteral("none");
const QString tokenWord = QStringLiteral("token");

QString listText(const QStringList &words)
{
    return words.join(QLatin1Char(','));
}

QStringList readList(const QString &text)
{
    return text.split(QLatin1Char(','), Qt::SkipEmptyParts).mid(0, maxWords);
}

bool isUserName(const QString &user)
{
    return user.size() <= maxUserLength
        && std::none_of(user.begin(), user.end(), [](QChar character) { return !character.isPrint(); });
}

} // namespace

QString helloVersion()
{
    return QStringLiteral("1");
}

QStringList knownVerifyModes()
{
    return {QStringLiteral("xxh128"), QStringLiteral("sha256"), QStringLiteral("fileattr"),
            QStringLiteral("false")};
}

QString writeClientHello(const ClientHello &hello)
{
    return VeskBase::serializeParam({
        {helloKey, listText(hello.helloVersions)},
        {versionKey, hello.version},
        {moduleKey, listText(hello.moduleKeys)},
        {verifyModesKey, listText(hello.verifyModes)},
        {userKey, hello.user},
        {nonceKey, hello.nonce},
    });
}

std::optional<ClientHello> readClientHello(const QString &text)
{
    const ParamMap map = VeskBase::unSerializeParam(text);
    ClientHello hello;
    hello.helloVersions = readList(map.value(helloKey));
    hello.version = map.value(versionKey);
    hello.moduleKeys = readList(map.value(moduleKey));
    hello.verifyModes = readList(map.value(verifyModesKey));
    hello.user = map.value(userKey);
    hello.nonce = map.value(nonceKey);
    if (hello.helloVersions.isEmpty() || !isUserName(hello.user) || !isNonce(hello.nonce))
        return std::nullopt;
    return hello;
}

QString writeServerHello(const ServerHello &hello)
{
    ParamMap map = {
        {helloKey, hello.helloVersion},
        {versionKey, hello.version},
        {moduleKey, hello.moduleKey},
        {verifyModesKey, listText(hello.verifyModes)},
        {authKey, hello.auth == AuthMode::Token ? tokenWord : noneWord},
        {nonceKey, hello.nonce},
        {sharesKey, hello.shares},
    };
    if (!hello.proof.isEmpty())
        map.insert(proofKey, hello.proof);
    return VeskBase::serializeParam(map);
}

std::optional<ServerHello> readServerHello(const QString &text)
{
    const ParamMap map = VeskBase::unSerializeParam(text);
    ServerHello hello;
    hello.helloVersion = map.value(helloKey);
    hello.version = map.value(versionKey);
    hello.moduleKey = map.value(moduleKey);
    hello.verifyModes = readList(map.value(verifyModesKey));
    hello.nonce = map.value(nonceKey);
    hello.shares = map.value(sharesKey);
    hello.proof = map.value(proofKey);
    const QString auth = map.value(authKey);
    const bool isKnownAuth = auth == tokenWord || auth == noneWord;
    if (hello.helloVersion.isEmpty() || !isKnownAuth || !isNonce(hello.nonce))
        return std::nullopt;
    hello.auth = auth == tokenWord ? AuthMode::Token : AuthMode::None;
    return hello;
}

QString withoutProof(ServerHello hello)
{
    hello.proof.clear();
    return writeServerHello(hello);
}

QString writeClientProof(const QString &proof)
{
    return VeskBase::serializeParam({{proofKey, proof}});
}

std::optional<QString> readClientProof(const QString &text)
{
    const ParamMap map = VeskBase::unSerializeParam(text);
    if (!map.contains(proofKey))
        return std::nullopt;
    return map.value(proofKey);
}

QString offeredSharesText(const std::vector<OfferedShare> &shares)
{
    ParamMap map;
    for (const OfferedShare &share : shares)
        map.insert(share.name, rightsText(share.rights));
    return VeskBase::serializeParam(map);
}

std::optional<std::vector<OfferedShare>> readOfferedShares(const QString &text)
{
    const ParamMap map = VeskBase::unSerializeParam(text);
    std::vector<OfferedShare> shares;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        const std::optional<Rights> rights = parseRights(entry.value());
        if (!rights)
            return std::nullopt;
        shares.push_back({entry.key(), *rights});
    }
    return shares;
}

QString pongText(qint64 clockMs)
{
    return VeskBase::serializeParam({{clockKey, QString::number(clockMs)}});
}

std::optional<qint64> readPong(const QString &text)
{
    bool ok = false;
    const qint64 clockMs = VeskBase::unSerializeParam(text).value(clockKey).toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    return clockMs;
}

} // namespace VESK::Host
