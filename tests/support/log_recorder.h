#pragma once

#include "tests/support/qt_text.h"

#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace VESK
{
class VeskBase;
}

namespace VESK::Test
{

/// Collects the log lines of all handlers of the process while it lives; one at a time. At its end lines
/// go to Qt's logging category again.
class LogRecorder
{
public:
    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder &) = delete;
    LogRecorder &operator=(const LogRecorder &) = delete;

    /// The lines so far, in order, each as "level|message": of `handler`, or of all. From any thread.
    QStringList lines(const VeskBase *handler = nullptr) const;

private:
    struct Line {
        const VeskBase *handler;
        QString text;
    };
    struct Book {
        mutable QMutex mutex; // guards lines
        std::vector<Line> lines;
    };

    const std::shared_ptr<Book> m_book; // also of the sink: a last call of it may outlive the recorder
};

} // namespace VESK::Test
