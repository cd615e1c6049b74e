#include "tests/fuzz/input.h"
#include "vesk_base/param_text.h"

#include <QtCore/QStringList>

using namespace VESK;

namespace
{

/// What is read must be written and read again without loss.
void readAnything(const QString &text)
{
    const std::optional<ParamMap> map = readParamText(text);
    if (map)
        Test::require(readParamText(writeParamText(*map)) == map);
}

/// Every map must come back as it was.
void writeAnything(const QString &text)
{
    ParamMap map;
    const QStringList parts = text.split(QLatin1Char('\n'));
    for (int i = 0; i + 1 < parts.size(); i += 2)
        map.insert(parts[i], parts[i + 1]);
    Test::require(readParamText(writeParamText(map)) == map);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    readAnything(Test::narrowText(data, size));
    readAnything(Test::wideText(data, size));
    writeAnything(Test::narrowText(data, size));
    writeAnything(Test::wideText(data, size));
    return 0;
}
