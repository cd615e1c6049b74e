#pragma once

#include "vesk_base/param_map.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace VESK::Host
{

/// Writes the names of a listing to stdout as they come: one a line, directories with a slash at the end,
/// or an event "entry" each. On a terminal everything that could move the cursor is escaped; elsewhere
/// names are written as they are. For one thread.
class ListingOutput
{
public:
    enum class Form { Plain, Json };

    explicit ListingOutput(Form form);

    /// False when nothing more can be written; see `error`.
    [[nodiscard]] bool write(const ParamMap &batch);
    /// Writes out what is still kept back. False as above.
    [[nodiscard]] bool flush();

    /// Has a name gone out, or been taken to go out?
    bool hasBegun() const { return m_count > 0; }
    /// Names that were taken to go out.
    qint64 count() const { return m_count; }

    /// The system's error number of the failed write; EPIPE when the reader has seen enough.
    int error() const { return m_error; }

private:
    QByteArray line(const QString &path, const QString &kind) const;

    const Form m_form;
    const bool m_isTerminal;
    QByteArray m_buffer;
    qint64 m_count = 0;
    int m_error = 0;
};

} // namespace VESK::Host
