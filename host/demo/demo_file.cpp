#include "host/demo/demo_file.h"

#include <QtCore/QFile>

#include <algorithm>
#include <random>
#include <vector>

namespace VESK::Host
{

namespace
{

constexpr qint64 blockSize = 1 << 20; // bytes

} // namespace

bool makeDemoFile(const QString &path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    std::mt19937_64 random(static_cast<std::mt19937_64::result_type>(size));
    std::vector<std::mt19937_64::result_type> block(blockSize / sizeof(std::mt19937_64::result_type));
    for (qint64 written = 0; written < size; written += blockSize) {
        std::generate(block.begin(), block.end(), std::ref(random));
        const qint64 length = std::min(blockSize, size - written);
        if (file.write(reinterpret_cast<const char *>(block.data()), length) != length)
            return false;
    }
    return file.flush();
}

bool haveEqualBytes(const QString &a, const QString &b)
{
    QFile first(a);
    QFile second(b);
    if (!first.open(QIODevice::ReadOnly) || !second.open(QIODevice::ReadOnly)
        || first.size() != second.size())
        return false;
    while (!first.atEnd()) {
        const QByteArray block = first.read(blockSize);
        if (block.isEmpty() || block != second.read(blockSize))
            return false;
    }
    return second.atEnd();
}

} // namespace VESK::Host
