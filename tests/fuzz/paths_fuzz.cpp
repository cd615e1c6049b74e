#include "tests/fuzz/input.h"
#include "vesk_base/paths.h"

using namespace VESK;

namespace
{

void joinAnything(const QString &a, const QString &b)
{
    const QString joined = joinPath(a, b);
    Test::require(!joined.contains(QLatin1String("//")));
    Test::require(joined.size() <= 1 || !joined.endsWith(QLatin1Char('/')));
    Test::require(joinPath(joined, QString()) == joined);
    // What joining leaves as it was begins what it is joined to: listings count on it.
    Test::require(joinPath(joined, QLatin1String("x")).startsWith(joined));
}

void nameAnything(const QString &path)
{
    const QString temporary = temporaryPath(path);
    const QString name = temporary.mid(temporary.lastIndexOf(QLatin1Char('/')) + 1);
    Test::require(isTemporaryName(name));
    Test::require(name.toUtf8().size() <= 255);
    Test::require(temporaryPath(path) == temporary);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::size_t half = size / 2;
    joinAnything(Test::narrowText(data, half), Test::narrowText(data + half, size - half));
    nameAnything(Test::narrowText(data, size));
    nameAnything(Test::wideText(data, size));
    return 0;
}
