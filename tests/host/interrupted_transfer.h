#pragma once

#include "tests/host/program.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

namespace VESK::Test
{

/// A test that stops the transfer of a file on its way, and then has it go on. It has a directory of its own.
class InterruptedTransfer : public testing::Test
{
protected:
    static constexpr qint64 fileSize = (100 << 20) + 12345; // bytes; enough to be stopped on the way

    /// `source` and `target` are within the directory.
    InterruptedTransfer(const QString &source, const QString &target)
        : m_target(target)
        , m_partial(temporaryPath(m_directory.path(target)))
    {
        EXPECT_TRUE(m_directory.write(source, m_content));
    }

    bool waitForPercent(int percent) const
    {
        return waitUntil([&] { return sizeOf(m_partial) >= fileSize * percent / 100; });
    }

    /// What a run tells of the file: it had `kept` bytes at the least, and moved the rest.
    virtual void expectRest(const QJsonObject &file, qint64 kept) const
    {
        EXPECT_GE(number(file, "from"), kept);
        EXPECT_EQ(number(file, "from") + number(file, "moved"), fileSize);
    }

    static qint64 number(const QJsonObject &file, const char *field)
    {
        return static_cast<qint64>(file.value(QLatin1String(field)).toDouble());
    }

    /// Waits for the end of a run that brings the rest.
    void expectResumed(Program &client, qint64 kept) const
    {
        EXPECT_EQ(client.waitForEnd(), 0) << qPrintable(client.err());
        expectRest(client.event(QStringLiteral("file")), kept);
        EXPECT_TRUE(m_directory.read(m_target) == m_content);
        EXPECT_FALSE(QFile::exists(m_partial));
    }

    const TempDir m_directory;
    const QByteArray m_content = pattern(fileSize);
    const QString m_target;
    const QString m_partial;
};

} // namespace VESK::Test
