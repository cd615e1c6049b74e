#include "vesk_base/verify_value.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <openssl/evp.h>
#include <xxhash.h>
#ifdef VESK_XXHASH_DISPATCH // the library chooses the widest instructions of the processor
#include <xxh_x86dispatch.h>
#endif

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

namespace VESK
{

namespace
{

constexpr qint64 readSize = 1 << 20; // bytes per read
constexpr qint64 smallestRead = 4 << 10;
constexpr qint64 sampleThreshold = 1 << 20; // files up to this size are hashed whole in mode "fileattr"
constexpr qint64 sampleSize = 64 << 10; // bytes per block above it
constexpr int sampleCount = 16;

const QLatin1String md5("md5", 3);
const QLatin1String sha1("sha1", 4);
const QLatin1String sha256("sha256", 6);
const QLatin1String samples("fileattr", 8);

using Consumer = std::function<bool(const char *data, qint64 size)>;

/// Reads the open file from its position to its end. The bytes read, or -1 after a failure.
qint64 readToEnd(QFile &file, const Consumer &consume)
{
    // One byte more than a small file has, so that its end shows in one read.
    const qint64 portion = std::clamp<qint64>(file.size() + 1, smallestRead, readSize);
    std::vector<char> buffer(static_cast<size_t>(portion));
    qint64 total = 0;
    for (;;) {
        const qint64 got = file.read(buffer.data(), portion);
        if (got < 0)
            return -1;
        if (got == 0)
            return total;
        if (!consume(buffer.data(), got))
            return -1;
        total += got;
    }
}

QString digest(QFile &file, const EVP_MD *algorithm)
{
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), algorithm, nullptr) != 1)
        return QString();
    const qint64 size = readToEnd(file, [&](const char *data, qint64 length) {
        return EVP_DigestUpdate(context.get(), data, static_cast<size_t>(length)) == 1;
    });
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (size < 0 || EVP_DigestFinal_ex(context.get(), value, &length) != 1)
        return QString();
    const QByteArray bytes(reinterpret_cast<const char *>(value), static_cast<int>(length));
    return QString::fromLatin1(bytes.toHex());
}

/// XXH3-128 over what it is fed.
class Hasher
{
public:
    Hasher()
        : m_state(XXH3_createState(), &XXH3_freeState)
        , m_good(m_state && XXH3_128bits_reset(m_state.get()) == XXH_OK)
    {
    }

    bool update(const char *data, qint64 size)
    {
        m_good = m_good && XXH3_128bits_update(m_state.get(), data, static_cast<size_t>(size)) == XXH_OK;
        return m_good;
    }

    /// "<size in decimal>-<hash in 32 hex digits>", or nothing after a failure.
    QString value(qint64 size) const
    {
        if (!m_good)
            return QString();
        XXH128_canonical_t canonical;
        XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(m_state.get()));
        const QByteArray bytes(reinterpret_cast<const char *>(canonical.digest), sizeof canonical.digest);
        return QString::number(size) + QLatin1Char('-') + QString::fromLatin1(bytes.toHex());
    }

private:
    const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> m_state;
    bool m_good;
};

QString sizeAndHash(QFile &file)
{
    Hasher hasher;
    const qint64 size =
        readToEnd(file, [&](const char *data, qint64 length) { return hasher.update(data, length); });
    return size < 0 ? QString() : hasher.value(size);
}

QString sizeAndSamples(QFile &file)
{
    const qint64 size = file.size();
    if (size <= sampleThreshold)
        return sizeAndHash(file);

    Hasher hasher;
    std::vector<char> block(sampleSize);
    for (int i = 0; i < sampleCount; ++i) {
        // The first block begins the file, the last one ends it.
        const qint64 at = (size - sampleSize) / (sampleCount - 1) * i
            + (size - sampleSize) % (sampleCount - 1) * i / (sampleCount - 1);
        if (!file.seek(at) || file.read(block.data(), sampleSize) != sampleSize
            || !hasher.update(block.data(), sampleSize))
            return QString();
    }
    return hasher.value(size);
}

} // namespace

QString fileVerifyValue(const QString &path, const QString &mode)
{
    if (!QFileInfo(path).isFile()) // opening a FIFO would wait for its writer
        return QString();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QString();

    const QString algorithm = verifyAlgorithm(mode);
    if (algorithm == md5)
        return digest(file, EVP_md5());
    if (algorithm == sha1)
        return digest(file, EVP_sha1());
    if (algorithm == sha256)
        return digest(file, EVP_sha256());
    return algorithm == samples ? sizeAndSamples(file) : sizeAndHash(file);
}

QString verifyAlgorithm(const QString &mode)
{
    const bool isNamed = mode == md5 || mode == sha1 || mode == sha256 || mode == samples;
    return isNamed ? mode : QStringLiteral("xxh128");
}

} // namespace VESK
