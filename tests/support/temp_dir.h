#pragma once

#include "tests/support/qt_text.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

namespace VESK::Test
{

/// A directory of a test's own, removed with all in it at the end. Names are relative to it.
class TempDir
{
public:
    TempDir();

    /// The absolute path of `name`, or of the directory itself; without links on the way.
    QString path(const QString &name = QString()) const;

    /// Writes a file and the directories above it; what was there is replaced. False when that fails.
    bool write(const QString &name, const QByteArray &content) const;

    /// The content of a file; a null array when it cannot be read.
    QByteArray read(const QString &name) const;

    /// Creates a directory and those above it.
    bool mkdir(const QString &name) const;

    bool exists(const QString &name) const;

    /// The relative names of everything in it at any depth, hidden ones too, sorted; directories end in
    /// "/". Links are listed and not followed.
    QStringList entries() const;

private:
    QTemporaryDir m_directory;
};

/// `size` bytes that look random and depend on `size` and `seed` only; a longer pattern of the same seed
/// begins with the shorter one.
QByteArray pattern(qint64 size, quint64 seed = 1);

} // namespace VESK::Test
