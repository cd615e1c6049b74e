#include "tests/support/qt_text.h"

#include "vesk_base/param_text.h"
#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace VESK;
using namespace VESK::Test;

namespace
{

QString character(uint code)
{
    return QString::fromUcs4(&code, 1);
}

testing::AssertionResult survives(const ParamMap &map)
{
    const QString text = writeParamText(map);
    const auto back = readParamText(text);
    if (back && *back == map && text.isValidUtf16() && QString::fromUtf8(text.toUtf8()) == text)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "text: " << testing::PrintToString(text);
}

testing::AssertionResult survivesAsKeyAndValue(const QString &text)
{
    return survives(
        {{text, "value"_s}, {"key"_s + text + "key"_s, text}, {"a"_s, "value"_s + text + "value"_s}});
}

TEST(ParamText, HasTheDocumentedForm)
{
    EXPECT_EQ(writeParamText({}), "vpm1 0\n"_s);
    EXPECT_EQ(writeParamText({{"b"_s, "2"_s}, {"a=b"_s, "c\\d\n"_s}, {""_s, ""_s}}),
              "vpm1 3\n=\na\\u003db=c\\u005cd\\u000a\nb=2\n"_s);
    EXPECT_EQ(writeParamText({{"k"_s, QString(QChar(0xFEFF)) + QChar(0xD800) + QChar(0x7F)}}),
              "vpm1 1\nk=\\ufeff\\ud800\\u007f\n"_s);
    EXPECT_EQ(writeParamText({{"ключ"_s, "值 😀"_s}}), "vpm1 1\nключ=值 😀\n"_s);
}

TEST(ParamText, EveryCodeUnitSurvives)
{
    ParamMap map;
    for (uint unit = 0; unit <= 0xFFFF; ++unit)
        map.insert(QString(QChar(unit)), "-"_s + QChar(unit));
    EXPECT_TRUE(readParamText(writeParamText(map)) == map);
}

/// Must the code unit be written as \uXXXX?
bool isEscaped(uint unit)
{
    static constexpr uint ranges[][2] = {{0, 0x1F},        {'=', '='},       {'\\', '\\'},
                                         {0x7F, 0x9F},     {0xD800, 0xDFFF}, {0xFDD0, 0xFDEF},
                                         {0xFEFF, 0xFEFF}, {0xFFFE, 0xFFFF}};
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [unit](const auto &range) { return range[0] <= unit && unit <= range[1]; });
}

TEST(ParamText, EscapesWhatItMustAndNothingElse)
{
    for (uint unit = 0; unit <= 0xFFFF; ++unit) {
        const QString bare = QChar(unit);
        const QString escaped = "\\u%1"_s.arg(unit, 4, 16, QLatin1Char('0'));
        const QString expected = "vpm1 1\nk="_s + (isEscaped(unit) ? escaped : bare) + "\n"_s;
        ASSERT_TRUE(writeParamText({{"k"_s, bare}}) == expected) << unit;
    }
}

TEST(ParamText, BareCharactersAreReadUnlessTheyMustBeEscaped)
{
    for (uint unit = 0; unit <= 0xFFFF; ++unit) {
        const auto map = readParamText("vpm1 1\nk="_s + QChar(unit) + "\n"_s);
        ASSERT_EQ(map.has_value(), !isEscaped(unit)) << unit;
    }
}

TEST(ParamText, CharactersOfAllPlanesSurvive)
{
    for (uint plane = 1; plane <= 16; ++plane)
        for (const uint low : {0x0000U, 0x1234U, 0xFDD0U, 0xFEFFU, 0xFFFDU, 0xFFFEU, 0xFFFFU})
            EXPECT_TRUE(survivesAsKeyAndValue(character(plane << 16 | low))) << plane << ' ' << low;
}

TEST(ParamText, NoncharactersAreEscapedInAllPlanes)
{
    for (uint plane = 0; plane <= 16; ++plane)
        for (const uint low : {0xFFFEU, 0xFFFFU}) {
            const QString noncharacter = character(plane << 16 | low);
            EXPECT_FALSE(writeParamText({{"k"_s, noncharacter}}).contains(noncharacter)) << plane;
        }
}

TEST(ParamText, TroublesomeTextsSurvive)
{
    const QString high(QChar(0xD83D));
    const QString low(QChar(0xDE00));
    const QString texts[] = {
        "="_s,
        "\\"_s,
        "\n"_s,
        "\r\n"_s,
        "\t"_s,
        "\\u0041"_s,
        "éu0041"_s,
        "\\n"_s,
        "a=b=c"_s,
        "=="_s,
        " "_s,
        " lead and trail "_s,
        "vpm1 1\na=b\n"_s,
        "%1%2"_s,
        "_inner"_s,
        QString(QChar(0)),
        "a"_s + QChar(0) + "b"_s,
        QString(QChar(0xFEFF)) + "text"_s,
        "text"_s + QChar(0xFEFF),
        high,
        low,
        low + high,
        high + high + low,
        high + "x"_s + low,
        high + low + low,
        "e\u0301"_s,
        "\u202E"_s,
        "\u2028\u2029\u0085"_s,
    };
    for (const QString &text : texts)
        EXPECT_TRUE(survivesAsKeyAndValue(text)) << testing::PrintToString(text);
}

/// The lines of so many entries.
QString entries(int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += "%1=\n"_s.arg(i);
    return text;
}

TEST(ParamText, HoldsAnyNumberOfEntries)
{
    for (int count = 0; count <= 120; ++count) {
        const auto map = readParamText("vpm1 %1\n"_s.arg(count) + entries(count));
        ASSERT_TRUE(map) << count;
        EXPECT_EQ(map->size(), count);
        EXPECT_TRUE(survives(*map)) << count;
    }
}

TEST(ParamText, CountsInDigitsOnly)
{
    for (char character = ' '; character <= '~'; ++character) {
        if (character >= '0' && character <= '9')
            continue;
        const int meant = 20 + character - '0'; // if it was taken for a digit
        EXPECT_FALSE(readParamText("vpm1 2"_s + QLatin1Char(character) + "\n"_s + entries(meant)))
            << character;
    }
}

TEST(ParamText, EmptyKeysAndValuesSurvive)
{
    EXPECT_TRUE(survives({}));
    EXPECT_TRUE(survives({{""_s, ""_s}}));
    EXPECT_TRUE(survives({{QString(), QString()}}));
    EXPECT_TRUE(survives({{""_s, "value"_s}, {"key"_s, ""_s}}));
}

TEST(ParamText, RandomMapsSurvive)
{
    std::mt19937 random(20240607); // any seed: the same texts in every run
    const auto below = [&](uint limit) { return static_cast<uint>(random() % limit); };
    const auto unit = [&]() -> QChar {
        static const ushort special[] = {'=',    '\\',   '\n',   'u',    '0',    0,
                                         0xFEFF, 0xFFFE, 0xD800, 0xDBFF, 0xDC00, 0xDFFF};
        const uint choice = below(4);
        return choice == 0 ? special[below(std::size(special))]
                           : static_cast<ushort>(below(choice == 1 ? 128 : 65536));
    };
    const auto text = [&] {
        QString result;
        for (uint length = below(12); length > 0; --length)
            result += unit();
        return result;
    };
    for (int round = 0; round < 5000; ++round) {
        ParamMap map;
        for (uint entries = below(8); entries > 0; --entries)
            map.insert(text(), text());
        ASSERT_TRUE(survives(map)) << "round " << round;
    }
}

TEST(ParamText, LongValuesSurvive)
{
    EXPECT_TRUE(survives({{QString(100000, QLatin1Char('k')), QString(3000000, QLatin1Char('='))}}));
}

TEST(ParamText, StaticsOfTheBaseAreEachOthersInverse)
{
    const ParamMap map{{"fileName"_s, "a=b\\c"_s}, {"srcPath"_s, QString(QChar(0xFEFF))}};
    EXPECT_EQ(VeskBase::unSerializeParam(VeskBase::serializeParam(map)), map);
}

TEST(ParamText, EscapesMayBeInUpperCaseAndStandForAnything)
{
    EXPECT_TRUE(readParamText("vpm1 1\n\\u0061=\\uFEFF\n"_s) == (ParamMap{{"a"_s, QString(QChar(0xFEFF))}}));
    const QString units = QString(QChar(0xABCD)) + QChar(0xEF01) + QChar(0x2345) + QChar(0x6789);
    for (const QString &escapes : {"\\uABCD\\uEF01\\u2345\\u6789"_s, "\\uabcd\\uef01\\u2345\\u6789"_s})
        EXPECT_TRUE(readParamText("vpm1 1\n=" + escapes + "\n"_s) == (ParamMap{{""_s, units}}));
}

class MalformedParamText : public testing::TestWithParam<QString>
{
};

TEST_P(MalformedParamText, GivesTheEmptyMap)
{
    EXPECT_FALSE(readParamText(GetParam()));
    EXPECT_TRUE(VeskBase::unSerializeParam(GetParam()).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Header, MalformedParamText,
                         testing::Values(""_s, QString(), "vpm1"_s, "vpm1 "_s, "vpm1 0"_s, "vpm1 \n"_s,
                                         "vpm2 0\n"_s, "VPM1 0\n"_s, " vpm1 0\n"_s, "\nvpm1 0\n"_s,
                                         QString(QChar(0xFEFF)) + "vpm1 0\n"_s, "vpm10\n"_s, "vpm1\t0\n"_s,
                                         "vpm1 0\r\n"_s, "0\n"_s, "1\na=b\n"_s, "{}"_s, "{\"a\":\"b\"}"_s,
                                         "a=b\n"_s));

INSTANTIATE_TEST_SUITE_P(Count, MalformedParamText,
                         testing::Values("vpm1 00\n"_s, "vpm1 01\na=b\n"_s, "vpm1 +1\na=b\n"_s, "vpm1 -1\n"_s,
                                         "vpm1 -0\n"_s, "vpm1  1\na=b\n"_s, "vpm1 1 \na=b\n"_s,
                                         "vpm1 0x1\na=b\n"_s, "vpm1 1=x\n"_s, "vpm1 1.0\na=b\n"_s,
                                         "vpm1 ١\na=b\n"_s, "vpm1 0\na=b\n"_s, "vpm1 1\n"_s,
                                         "vpm1 2\na=b\n"_s, "vpm1 1\na=b\nc=d\n"_s, "vpm1 999999999\na=b\n"_s,
                                         "vpm1 4294967297\na=b\n"_s, "vpm1 18446744073709551617\na=b\n"_s));

INSTANTIATE_TEST_SUITE_P(Entry, MalformedParamText,
                         testing::Values("vpm1 1\na=b"_s, "vpm1 1\nab\n"_s, "vpm1 1\n\n"_s,
                                         "vpm1 1\na=b=c\n"_s, "vpm1 1\na==\n"_s, "vpm1 1\na=b\n\n"_s,
                                         "vpm1 1\na=b\n "_s, "vpm1 1\na=b\nvpm1 0\n"_s, "vpm1 0\n\n"_s,
                                         "vpm1 1\na=b\r\n"_s, "vpm1 2\na=b\na=c\n"_s,
                                         "vpm1 2\na=b\n\\u0061=c\n"_s));

INSTANTIATE_TEST_SUITE_P(
    Escape, MalformedParamText,
    testing::Values("vpm1 1\na=\\\n"_s, "vpm1 1\na=\\"_s, "vpm1 1\na=\\u\n"_s, "vpm1 1\na=\\u004\n"_s,
                    "vpm1 1\na=\\u004"_s, "vpm1 1\na=\\u0041"_s, "vpm1 1\na=\\U0041\n"_s,
                    "vpm1 1\na=\\u00g1\n"_s, "vpm1 1\na=\\x41\n"_s, "vpm1 1\na=\\n\n"_s, "vpm1 1\na=\\\\\n"_s,
                    "vpm1 1\na\\=b\n"_s, "vpm1 1\na=\\u+041\n"_s, "vpm1 1\na=\\u٠٠٤١\n"_s,
                    "vpm1 1\na=\\u 041\n"_s, "vpm1 1\na=\\u00/1\n"_s, "vpm1 1\na=\\u00:1\n"_s,
                    "vpm1 1\na=\\u00@1\n"_s, "vpm1 1\na=\\u00G1\n"_s, "vpm1 1\na=\\u00`1\n"_s));

INSTANTIATE_TEST_SUITE_P(
    BareCharacterThatMustBeEscaped, MalformedParamText,
    testing::Values("vpm1 1\na=\t\n"_s, "vpm1 1\na="_s + QChar(0) + "\n"_s,
                    "vpm1 1\na="_s + QChar(0x7F) + "\n"_s, "vpm1 1\na="_s + QChar(0x85) + "\n"_s,
                    "vpm1 1\na="_s + QChar(0xFEFF) + "\n"_s, "vpm1 1\na="_s + QChar(0xFFFE) + "\n"_s,
                    "vpm1 1\na="_s + QChar(0xFDD0) + "\n"_s, "vpm1 1\na="_s + QChar(0xD800) + "\n"_s,
                    "vpm1 1\na="_s + QChar(0xDC00) + "\n"_s, "vpm1 1\na=\\ud83d"_s + QChar(0xDE00) + "\n"_s,
                    "vpm1 1\na="_s + character(0x1FFFE) + "\n"_s,
                    "vpm1 1\n"_s + character(0x10FFFF) + "=a\n"_s));

TEST(ParamText, EveryTruncatedTextIsMalformed)
{
    const QString text = writeParamText({{"fileName"_s, "naïve=\n😀"_s}, {"empty"_s, ""_s}, {""_s, "x"_s}});
    for (int length = 0; length < text.size(); ++length)
        EXPECT_FALSE(readParamText(text.left(length))) << length;
}

TEST(ParamText, DamagedTextsAreRefusedOrMeanOneMap)
{
    const QString good = writeParamText({{"fileName"_s, "a=\nb"_s}, {"key"_s, QString(QChar(0xD800))}});
    std::mt19937 random(5);
    static const ushort replacements[] = {'\n', '=', '\\', 'u',    '0',    '9',
                                          'f',  ' ', 0,    0xFEFF, 0xD83D, 0xDE00};
    int accepted = 0;
    for (int round = 0; round < 20000; ++round) {
        QString text = good;
        for (auto damages = random() % 3 + 1; damages > 0; --damages)
            text[static_cast<int>(random() % static_cast<uint>(text.size()))] =
                replacements[random() % std::size(replacements)];
        const auto map = readParamText(text);
        if (!map)
            continue;
        ++accepted;
        ASSERT_TRUE(survives(*map));
    }
    EXPECT_LT(accepted, 20000);
}

} // namespace
