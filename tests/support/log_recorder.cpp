#include "tests/support/log_recorder.h"

#include "vesk_base/vesk_base.h"

#include <QtCore/QMutexLocker>

namespace VESK::Test
{

LogRecorder::LogRecorder()
    : m_book(std::make_shared<Book>())
{
    VeskBase::setLogSink(
        [book = m_book](const VeskBase *handler, const QString &level, const QString &message) {
            const QMutexLocker lock(&book->mutex);
            book->lines.push_back({handler, level + QLatin1Char('|') + message});
        });
}

LogRecorder::~LogRecorder()
{
    VeskBase::setLogSink({});
}

QStringList LogRecorder::lines(const VeskBase *handler) const
{
    const QMutexLocker lock(&m_book->mutex);
    QStringList texts;
    for (const Line &line : m_book->lines)
        if (handler == nullptr || line.handler == handler)
            texts += line.text;
    return texts;
}

} // namespace VESK::Test
