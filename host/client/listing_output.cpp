#include "host/client/listing_output.h"

#include "host/event_writer.h"
#include "host/text.h"

#include <unistd.h>

#include <cerrno>

namespace VESK::Host
{

namespace
{

constexpr int enoughBytes = 1 << 16; // for one write

} // namespace

ListingOutput::ListingOutput(Form form)
    : m_form(form)
    , m_isTerminal(::isatty(STDOUT_FILENO) != 0)
{
}

bool ListingOutput::write(const ParamMap &batch)
{
    for (auto entry = batch.begin(); entry != batch.end(); ++entry)
        m_buffer += line(entry.key(), entry.value());
    m_count += batch.size();
    return m_buffer.size() < enoughBytes && !m_isTerminal ? m_error == 0 : flush();
}

QByteArray ListingOutput::line(const QString &path, const QString &kind) const
{
    const QString name = path.startsWith(QLatin1Char('/')) ? path.mid(1) : path;
    if (m_form == Form::Json) {
        return eventLine(QStringLiteral("entry"),
                         {{QStringLiteral("path"), name}, {QStringLiteral("kind"), kind}});
    }
    const QString mark = kind == QLatin1String("dir") ? QStringLiteral("/") : QString();
    return ((m_isTerminal ? escaped(name) : name) + mark).toUtf8() + '\n';
}

bool ListingOutput::flush()
{
    int done = 0;
    while (m_error == 0 && done < m_buffer.size()) {
        const ssize_t count = ::write(STDOUT_FILENO, m_buffer.constData() + done,
                                      static_cast<std::size_t>(m_buffer.size() - done));
        if (count >= 0)
            done += static_cast<int>(count);
        else if (errno != EINTR)
            m_error = errno;
    }
    m_buffer.clear();
    return m_error == 0;
}

} // namespace VESK::Host
