#include "host/server/serve_reload.h"

#include "host/usage_failure.h"

#include <QtCore/QByteArray>

#include <vector>

namespace VESK::Host
{

std::optional<ServeOptions> rereadServeOptions(const TreeBuilder &build, const QStringList &arguments,
                                               Failure *failure)
{
    std::optional<ServeOptions> found;
    const auto takeInstead = [&](CLI::App &root, GlobalOptions &global, int &exitCode) {
        global.takeServeOptions = [&found](const ServeOptions &options) { found = options; };
        build(root, global, exitCode);
    };
    std::vector<QByteArray> texts;
    texts.reserve(static_cast<std::size_t>(arguments.size()));
    for (const QString &argument : arguments)
        texts.push_back(argument.toUtf8());
    std::vector<const char *> words;
    words.reserve(texts.size());
    for (const QByteArray &text : texts)
        words.push_back(text.constData());
    ConfiguredApp app(takeInstead);
    try {
        app.parseArguments(static_cast<int>(words.size()), words.data());
    } catch (const CLI::ParseError &error) {
        *failure = usageFailure(app, error);
    } catch (const ConfigError &error) {
        *failure = error.failure();
    }
    return found;
}

QStringList optionsForNextStart(const ServeOptions &now, const ServeOptions &then)
{
    QStringList names;
    const auto compare = [&](const char *name, bool isSame) {
        if (!isSame)
            names.append(QString::fromLatin1(name));
    };
    compare("--listen", now.listen == then.listen);
    compare("--auth", now.auth == then.auth);
    compare("--mtu", now.packetSize == then.packetSize);
    compare("--congestion", now.congestion == then.congestion);
    compare("--on-done", now.onDone == then.onDone);
    compare("--metrics", now.metricsFile == then.metricsFile);
    compare("--log-format", now.logFormat == then.logFormat);
    compare("--verbose", now.verbose == then.verbose);
    return names;
}

} // namespace VESK::Host
