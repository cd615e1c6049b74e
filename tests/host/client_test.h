#pragma once

#include "tests/host/program.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <string>

namespace VESK::Test
{

/// A test that runs the program to its end, and then looks at what it has said. It has a directory of its
/// own.
class ClientTest : public testing::Test
{
protected:
    /// The exit code.
    int run(const QStringList &arguments)
    {
        Program client(arguments);
        const int code = client.waitForEnd();
        m_out = client.out().toStdString();
        m_err = client.err().toStdString();
        m_summary = client.event(QStringLiteral("summary"));
        return code;
    }

    /// A number of the last summary; -1 when it has none of that name. The last run was one with --json.
    int counted(const char *field) const { return m_summary.value(QLatin1String(field)).toInt(-1); }

    TempDir m_directory;
    std::string m_out; // of the last run, as the next two
    std::string m_err;
    QJsonObject m_summary; // its last event
};

} // namespace VESK::Test
