#pragma once

#include "host/config/configured_app.h"
#include "host/server/announcement.h"
#include "host/server/loop_check.h"
#include "host/server/partial_sweep.h"
#include "host/server/serve_settings.h"
#include "host/server/server.h"

#include <QtCore/QString>

#include <list>
#include <optional>

namespace VESK::Host
{

/// The secret that clients have to know; its file is made when it is missing, and `announcement` says where
/// it is. Nothing on failure, with what to tell in `failure`.
std::optional<Token> settleToken(const ServeOptions &options, Announcement *announcement, Failure *failure);

/// What a client is asked and told first. No token: nothing is asked for. The token outlives the terms.
HelloTerms helloTerms(const ServerSettings &settings, const QString &moduleKey, const Token *token);

/// What may change in a running server, and what is done beside serving: the looks for looping links and for
/// partial copies that nobody goes on with. Functions are called on one thread.
class Service
{
public:
    /// Begins the looks. `options` are those of the start; `token` is null when none is asked for, and
    /// outlives this as the server does.
    Service(const ServeOptions &options, const TreeBuilder &build, Server &server,
            const ServerSettings &settings, const QString &moduleKey, const Token *token);

    /// Reads configuration and token anew, for the tasks to come. What is wrong changes nothing; the log says
    /// what became of it.
    void reload();

    /// Writes the connections to the log.
    void tellStatus();

private:
    bool tryReload(Failure *failure);
    bool rereadToken(const ServeOptions &options, Failure *failure);
    void look(const ServerSettings &settings);

    const ServeOptions m_options; // of the start
    const TreeBuilder m_build;
    Server &m_server;
    const QString m_moduleKey;
    const Token *m_token; // that holds; null: none is asked for
    std::list<Token> m_tokens; // all that were read later than at the start
    std::optional<LoopCheck> m_loopCheck;
    std::optional<PartialSweep> m_sweep;
};

} // namespace VESK::Host
