#include "host/server/service.h"

#include "host/hello/token_file.h"
#include "host/server/serve_reload.h"
#include "host/server/server_log.h"
#include "host/text.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>

#include <vector>

namespace VESK::Host
{

std::optional<Token> settleToken(const ServeOptions &options, Announcement *announcement, Failure *failure)
{
    const QString path = options.tokenFile.empty()
        ? defaultTokenFile()
        : QFileInfo(givenFileName(options.tokenFile)).absoluteFilePath();
    const bool isThere = QFileInfo::exists(path);
    QString error;
    std::optional<Token> token;
    if (isThere || makeTokenFile(path, &error))
        token = readTokenFile(path, &error);
    announcement->tokenFile = path;
    announcement->tokenIsNew = !isThere;
    if (!token)
        *failure = {
            ExitCode::Usage,
            QStringLiteral("no token for this server: %1").arg(error),
            {QStringLiteral("--token-file names another place for it; it is made when missing."),
             QStringLiteral("Where everybody who reaches the port may use the shares: --auth none.")}};
    return token;
}

HelloTerms helloTerms(const ServerSettings &settings, const QString &moduleKey, const Token *token)
{
    HelloTerms terms;
    terms.token = token;
    terms.moduleKey = moduleKey;
    for (const Share &share : settings.shares)
        terms.shares.push_back({share.name, share.rights});
    return terms;
}

Service::Service(const ServeOptions &options, const TreeBuilder &build, Server &server,
                 const ServerSettings &settings, const QString &moduleKey, const Token *token)
    : m_options(options)
    , m_build(build)
    , m_server(server)
    , m_moduleKey(moduleKey)
    , m_token(token)
{
    look(settings);
}

void Service::reload()
{
    Failure failure;
    if (!tryReload(&failure))
        logServer(QStringLiteral("error"),
                  QStringLiteral("the settings stay as they are: %1")
                      .arg((QStringList{failure.what} + failure.hints).join(QStringLiteral("; "))));
}

void Service::tellStatus()
{
    const std::vector<ConnectionStatus> connections = m_server.status();
    logServer(QStringLiteral("info"),
              QStringLiteral("status: %1")
                  .arg(countText(static_cast<qint64>(connections.size()), QStringLiteral("connection"))));
    for (const ConnectionStatus &connection : connections)
        logServer(QStringLiteral("info"), QStringLiteral("status: ") + statusText(connection));
}

bool Service::tryReload(Failure *failure)
{
    const std::optional<ServeOptions> options =
        rereadServeOptions(m_build, QCoreApplication::arguments(), failure);
    const std::optional<ServerSettings> settings = options ? serverSettings(*options, failure) : std::nullopt;
    if (!settings || !rereadToken(*options, failure))
        return false;
    m_server.setTerms(*settings, helloTerms(*settings, m_moduleKey, m_token));
    look(*settings);
    QStringList names;
    for (const Share &share : settings->shares)
        names.append(QStringLiteral("%1 (%2)").arg(share.name, rightsText(share.rights)));
    logServer(QStringLiteral("info"),
              QStringLiteral("settings read anew; shares: %1").arg(names.join(QStringLiteral(", "))));
    const QStringList later = optionsForNextStart(m_options, *options);
    if (!later.isEmpty())
        logServer(
            QStringLiteral("warning"),
            QStringLiteral("%1 will hold from the next start on").arg(later.join(QStringLiteral(", "))));
    return true;
}

// The file may hold another token by now. Connections refer to the old one for as long as they stand.
bool Service::rereadToken(const ServeOptions &options, Failure *failure)
{
    if (!m_token)
        return true;
    Announcement announcement;
    std::optional<Token> token = settleToken(options, &announcement, failure);
    if (!token)
        return false;
    m_token = &m_tokens.emplace_back(std::move(*token));
    return true;
}

// What is done beside serving; what was begun before is ended first.
void Service::look(const ServerSettings &settings)
{
    m_loopCheck.emplace(settings);
    m_sweep.emplace(settings, [this](const QString &path) { return m_server.isReceiving(path); });
}

} // namespace VESK::Host
