#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdio>
#include <memory>
#include <optional>

namespace VESK::Host
{

/// Names of files, read from a file or from stdin as they are asked for. For one thread.
class NameList
{
public:
    enum class End { Line, Nul };

    struct Name {
        QString path; ///< relative, without "./" and double slashes; empty when it is not fit
        QString shown; ///< for people, escaped
        QString flaw; ///< why it is not fit, for people; empty when it is
    };

    /// "-" is stdin. Nothing when it cannot be opened; the system's error is set.
    static std::optional<NameList> open(const QString &file, End end);

    /// The next name; nothing at the end. Empty lines are passed over.
    std::optional<Name> next();

    /// Did reading end with an error? The system's number, 0 when not.
    int error() const { return m_error; }

private:
    struct Closer {
        void operator()(std::FILE *file) const;
    };

    NameList(std::FILE *file, char end);

    std::unique_ptr<std::FILE, Closer> m_file;
    char m_end;
    int m_error = 0;
};

/// Reads one name of a list.
NameList::Name readName(const QByteArray &bytes);

} // namespace VESK::Host
