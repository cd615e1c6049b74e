#include "vesk_2_0_0/handler/file_handle.h"
#include "vesk_2_0_0/handler/file_stream.h"
#include "vesk_2_0_0/handler/file_times.h"
#include "vesk_base/file_modes.h"
#include "vesk_base/path_claim.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <windows.h>

// What stands behind the platform's headers on Windows, run as a Windows program. It ends with the number of
// expectations that failed.

using namespace VESK;

// The part of a claim that Qt does: here the names of the system's objects are the paths themselves.

bool PathClaim::acquire(const QString &path)
{
    std::string name;
    for (const char16_t unit : path.text())
        name += static_cast<char>(unit);
    const std::intptr_t object = open(name.c_str());
    if (object == none)
        return false;
    release();
    m_object = object;
    return true;
}

void PathClaim::release()
{
    if (m_object != none)
        close(m_object);
    m_object = none;
}

namespace
{

int failures = 0;

#define EXPECT(condition) expect((condition), #condition, __LINE__)

void expect(bool holds, const char *condition, int line)
{
    if (holds)
        return;
    std::printf("line %d: not so: %s\n", line, condition);
    ++failures;
}

const wchar_t *wide(const QString &path)
{
    return reinterpret_cast<const wchar_t *>(path.utf16());
}

/// Names of every kind: accents, Cyrillic, Chinese, a supplementary character, combining marks, blanks.
const std::u16string names[] = {
    u"plain.bin",      u"gr\u00FC\u00DFe.bin", u"\u0444\u0430\u0439\u043B", u"\u6587\u4EF6.dat",
    u"\U0001F4E6 box", u"e\u0301 + %1 %2",     u" leading blank",           std::u16string(120, u'\u00E4')};

QString directory()
{
    wchar_t buffer[MAX_PATH + 1];
    const DWORD length = GetTempPathW(MAX_PATH, buffer);
    std::u16string path(reinterpret_cast<const char16_t *>(buffer), length);
    for (char16_t &unit : path)
        if (unit == u'\\')
            unit = u'/';
    return path;
}

QString pathOf(const std::u16string &name)
{
    return directory().text() + name;
}

bool writeFile(const QString &path, const std::string &content)
{
    std::FILE *const file = _wfopen(wide(path), L"wb");
    if (file == nullptr)
        return false;
    const bool isWritten = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    return std::fclose(file) == 0 && isWritten;
}

std::string readFile(const QString &path)
{
    std::FILE *const file = _wfopen(wide(path), L"rb");
    if (file == nullptr)
        return "(missing)";
    std::string content;
    char buffer[4096];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
        content.append(buffer, got);
    std::fclose(file);
    return content;
}

/// What the handler does with the descriptor of an open file.
FileHandle handleOf(const QString &path, int flags, const char *mode)
{
    const int descriptor = _wopen(wide(path), flags | _O_BINARY, _S_IREAD | _S_IWRITE);
    FileHandle handle = openHandle(descriptor, mode);
    if (descriptor != -1)
        _close(descriptor);
    return handle;
}

void modesFollowTheOwnersWriteBit(const QString &path)
{
    EXPECT(changeMode(path, 0444));
    EXPECT(hasMode(path, 0444));
    EXPECT(!hasMode(path, 0644));
    EXPECT(_waccess(wide(path), 2) != 0);
    EXPECT(changeMode(path, 0644));
    EXPECT(hasMode(path, 0755));
    EXPECT(_waccess(wide(path), 2) == 0);
}

void timesHave64Bits(const QString &path)
{
    constexpr std::int64_t seconds[] = {1,          1700000000,  2147483647, 2147483648,
                                        4294967296, 10000000000, -86400};
    for (const std::int64_t time : seconds) {
        EXPECT(writeModificationTime(path, time));
        WIN32_FILE_ATTRIBUTE_DATA data;
        EXPECT(GetFileAttributesExW(wide(path), GetFileExInfoStandard, &data) != 0);
        ULARGE_INTEGER ticks;
        ticks.LowPart = data.ftLastWriteTime.dwLowDateTime;
        ticks.HighPart = data.ftLastWriteTime.dwHighDateTime;
        EXPECT(static_cast<std::int64_t>(ticks.QuadPart / 10000000) - 11644473600 == time);
        FileStatus status;
        EXPECT(readStatus(path, status));
        EXPECT(status.mtime == time);
    }
}

void theAccessTimeStays(const QString &path)
{
    WIN32_FILE_ATTRIBUTE_DATA before;
    WIN32_FILE_ATTRIBUTE_DATA after;
    EXPECT(GetFileAttributesExW(wide(path), GetFileExInfoStandard, &before) != 0);
    EXPECT(writeModificationTime(path, 1234567890));
    EXPECT(GetFileAttributesExW(wide(path), GetFileExInfoStandard, &after) != 0);
    EXPECT(CompareFileTime(&before.ftLastAccessTime, &after.ftLastAccessTime) == 0);
}

void receivingAppends(const QString &path)
{
    EXPECT(writeFile(path, "first "));
    FileHandle handle = handleOf(path, _O_RDWR | _O_APPEND, "ab+");
    EXPECT(handle != nullptr);
    if (handle == nullptr)
        return;
    {
        FileStream stream(std::move(handle), FileStream::Use::Receiving);
        EXPECT(stream.is_open());
        stream.seekp(0);
        EXPECT(static_cast<bool>(stream.write("a\r\n\x1a"
                                              "b\n",
                                              6)));
        EXPECT(readFile(path)
               == std::string("first a\r\n\x1a"
                              "b\n")); // at the end, unchanged, at once
    }
    FileStatus status;
    EXPECT(readStatus(path, status) && status.size == 12);
}

void sendingReadsEveryByte(const QString &path)
{
    const std::string content("\x1a\r\n\n\r\0end", 9);
    EXPECT(writeFile(path, content));
    FileHandle handle = handleOf(path, _O_RDONLY, "rb");
    EXPECT(handle != nullptr);
    if (handle == nullptr)
        return;
    FileStream stream(std::move(handle), FileStream::Use::Sending);
    EXPECT(stream.is_open());
    std::string read(content.size(), '?');
    EXPECT(static_cast<bool>(stream.read(&read[0], static_cast<std::streamsize>(read.size()))));
    EXPECT(read == content);
    stream.seekg(3);
    EXPECT(stream.get() == '\n');
    EXPECT(!stream.write("x", 1));
}

void childrenInheritNoHandle(const QString &path)
{
    EXPECT(writeFile(path, "x"));
    const int descriptor = _wopen(wide(path), _O_RDONLY | _O_BINARY);
    {
        const FileHandle handle = openHandle(descriptor, "rb");
        EXPECT(handle != nullptr);
        const int duplicate = handle ? _fileno(handle.get()) : -1;
        DWORD flags = HANDLE_FLAG_INHERIT;
        EXPECT(GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(duplicate)), &flags) != 0);
        EXPECT((flags & HANDLE_FLAG_INHERIT) == 0);
    }
    EXPECT(_get_osfhandle(descriptor) != -1);
    _close(descriptor);
}

void everyNameWorks()
{
    for (const std::u16string &name : names) {
        const QString path = pathOf(u"vesk " + name);
        EXPECT(writeFile(path, "content"));
        FileStatus status;
        EXPECT(readStatus(path, status) && status.size == 7);
        modesFollowTheOwnersWriteBit(path);
        timesHave64Bits(path);
        theAccessTimeStays(path);
        receivingAppends(path);
        sendingReadsEveryByte(path);
        childrenInheritNoHandle(path);
        EXPECT(_wremove(wide(path)) == 0);
    }
}

void directoriesHaveTimesAndModesToo()
{
    const QString path = pathOf(u"vesk \u0444 directory");
    EXPECT(_wmkdir(wide(path)) == 0);
    EXPECT(writeModificationTime(path, 4294967296));
    FileStatus status;
    EXPECT(readStatus(path, status) && status.mtime == 4294967296);
    EXPECT(changeMode(path, 0755));
    EXPECT(hasMode(path, 0755));
    EXPECT(_wrmdir(wide(path)) == 0);
}

void whatIsNotThereIsReported()
{
    const QString path = pathOf(u"vesk missing");
    FileStatus status;
    EXPECT(!readStatus(path, status));
    EXPECT(!writeModificationTime(path, 1));
    EXPECT(!changeMode(path, 0644));
    EXPECT(!hasMode(path, 0644));
    EXPECT(handleOf(path, _O_RDONLY, "rb") == nullptr);
    EXPECT(openHandle(-1, "rb") == nullptr);
}

void impossibleNumbersAndNamesAreRefused()
{
    const QString path = pathOf(u"vesk limits");
    EXPECT(writeFile(path, ""));
    EXPECT(!changeMode(path, -1));
    EXPECT(!changeMode(path, 010000));
    EXPECT(!changeMode(QString(), 0644));
    const QString cut(path.text() + u'\0' + u"rest");
    EXPECT(!changeMode(cut, 0644));
    EXPECT(!hasMode(cut, 0644));
    EXPECT(!writeModificationTime(path, INT64_MAX));
    EXPECT(!writeModificationTime(path, INT64_MIN));
    EXPECT(_wremove(wide(path)) == 0);
}

void aClaimHasOneOwner()
{
    PathClaim first;
    PathClaim second;
    EXPECT(first.acquire(u"vesk claim 1"));
    EXPECT(!second.acquire(u"vesk claim 1"));
    EXPECT(second.acquire(u"vesk claim 2"));
    first.release();
    EXPECT(second.acquire(u"vesk claim 1"));
    EXPECT(first.acquire(u"vesk claim 2"));
}

} // namespace

int main()
{
    // Descriptors that do not exist are errors here, not the end of the program.
    _set_invalid_parameter_handler(
        [](const wchar_t *, const wchar_t *, const wchar_t *, unsigned, uintptr_t) {});
    everyNameWorks();
    directoriesHaveTimesAndModesToo();
    whatIsNotThereIsReported();
    impossibleNumbersAndNamesAreRefused();
    aClaimHasOneOwner();
    std::printf("%d expectations failed\n", failures);
    return failures;
}
