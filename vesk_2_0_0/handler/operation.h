#pragma once

#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <QtCore/QString>

namespace VESK
{

/// The voice of a running operation: what the chapters that operations share need of the handler and of
/// the operation's name. Made on the stack of the operation; never outlives it.
class Operation
{
public:
    Operation(VeskHandler2_0_0 &handler, const char *name);
    Operation(VeskHandler2_0_0 &handler, const QString &name);

    VeskHandler2_0_0 &handler() const { return m_handler; }
    const QString &name() const { return m_name; }

    /// The value of a parameter.
    QString param(QLatin1String key, QLatin1String defaultValue = QLatin1String("")) const;

    /// Logs `format` at level "error", with the operation's name for %1 and `texts` for %2 and on. False,
    /// so that an operation can end with `return op.fail(...)`.
    template <typename... Texts>
    [[nodiscard]] bool fail(const char *format, const Texts &...texts) const
    {
        error(format, texts...);
        return false;
    }

    template <typename... Texts>
    void error(const char *format, const Texts &...texts) const
    {
        write("error", format, texts...);
    }

    template <typename... Texts>
    void warn(const char *format, const Texts &...texts) const
    {
        write("warning", format, texts...);
    }

    template <typename... Texts>
    void info(const char *format, const Texts &...texts) const
    {
        write("info", format, texts...);
    }

    template <typename... Texts>
    void debug(const char *format, const Texts &...texts) const
    {
        write("debug", format, texts...);
    }

    /// A check point: when a pause or cancel came in, records it as the last error and leaves the
    /// operation by throwing the text "status", which `process` catches.
    void checkStatus() const;

private:
    /// One multi-argument `arg`: a path that holds "%2" stays as it is.
    template <typename... Texts>
    void write(const char *level, const char *format, const Texts &...texts) const
    {
        m_handler.log(QString::fromLatin1(level), QString::fromLatin1(format).arg(m_name, texts...));
    }

    VeskHandler2_0_0 &m_handler;
    const QString m_name;
};

} // namespace VESK
