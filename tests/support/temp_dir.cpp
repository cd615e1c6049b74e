#include "tests/support/temp_dir.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QtEndian>

#include <algorithm>

namespace VESK::Test
{

TempDir::TempDir() = default; // here, so that a constant one needs no braces

QString TempDir::path(const QString &name) const
{
    const QString root = QFileInfo(m_directory.path()).canonicalFilePath();
    return name.isEmpty() ? root : root + QLatin1Char('/') + name;
}

bool TempDir::write(const QString &name, const QByteArray &content) const
{
    const QString target = path(name);
    QFile file(target);
    return QDir().mkpath(QFileInfo(target).path()) && file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(content) == content.size() && file.flush();
}

QByteArray TempDir::read(const QString &name) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    const QByteArray content = file.readAll();
    return content.isNull() ? QByteArray("") : content;
}

bool TempDir::mkdir(const QString &name) const
{
    return QDir().mkpath(path(name));
}

bool TempDir::exists(const QString &name) const
{
    return QFileInfo::exists(path(name));
}

QStringList TempDir::entries() const
{
    const QDir root(path());
    const QDir::Filters all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    QDirIterator walk(root.path(), all, QDirIterator::Subdirectories);
    QStringList names;
    while (walk.hasNext()) {
        const QString name = root.relativeFilePath(walk.next());
        const QFileInfo info = walk.fileInfo();
        names += info.isDir() && !info.isSymLink() ? name + QLatin1Char('/') : name;
    }
    std::sort(names.begin(), names.end());
    return names;
}

QByteArray pattern(qint64 size, quint64 seed)
{
    constexpr int wordSize = sizeof(quint64);
    QByteArray bytes(static_cast<int>(size) + wordSize, Qt::Uninitialized);
    quint64 state = seed * 0x9E3779B97F4A7C15U + 1; // an odd constant spreads neighbouring seeds
    for (int i = 0; i < size; i += wordSize) {
        state ^= state << 13; // xorshift64
        state ^= state >> 7;
        state ^= state << 17;
        qToLittleEndian(state, bytes.data() + i);
    }
    bytes.truncate(static_cast<int>(size));
    return bytes;
}

} // namespace VESK::Test
