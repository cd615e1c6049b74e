#pragma once

#include <QtCore/QLatin1String>

#include <cstddef>

namespace VESK
{

/// The names of all parameters. docs/embedding.md says who sets and who reads each.
namespace Key
{

template <std::size_t size>
constexpr QLatin1String name(const char (&text)[size])
{
    return QLatin1String(text, static_cast<int>(size - 1));
}

// Of the task
inline constexpr QLatin1String endPoint = name("endPoint");
inline constexpr QLatin1String operation = name("operator");
inline constexpr QLatin1String clientSocket = name("clientSocket");
inline constexpr QLatin1String serverSocket = name("serverSocket");
inline constexpr QLatin1String socketSuffix = name("Socket");
inline constexpr QLatin1String returnValue = name("return");
inline constexpr QLatin1String respondStatus = name("respondStatus");
inline constexpr QLatin1String beginTime = name("beginTime");
inline constexpr QLatin1String endTime = name("endTime");
inline constexpr QLatin1String transferBeginSize = name("transferBeginSize");
inline constexpr QLatin1String transferEndSize = name("transferEndSize");

// Of the server's host
inline constexpr QLatin1String mountPath = name("mountPath");
inline constexpr QLatin1String appPath = name("appPath");
inline constexpr QLatin1String fileMod = name("fileMod");
inline constexpr QLatin1String dirMod = name("dirMod");
inline constexpr QLatin1String logFile = name("logFile");
inline constexpr QLatin1String transtatRec = name("transtat-rec");
inline constexpr QLatin1String clientIp = name("clientIp");
inline constexpr QLatin1String clientPort = name("clientPort");

// Of the request
inline constexpr QLatin1String fileName = name("fileName");
inline constexpr QLatin1String srcPath = name("srcPath");
inline constexpr QLatin1String destPath = name("destPath");
inline constexpr QLatin1String rootPath = name("rootPath");
inline constexpr QLatin1String userName = name("userName");
inline constexpr QLatin1String appKey = name("appKey");
inline constexpr QLatin1String appVersion = name("appVersion");
inline constexpr QLatin1String bVerify = name("bVerify");
inline constexpr QLatin1String bReplace = name("bReplace");
inline constexpr QLatin1String mac = name("mac");
inline constexpr QLatin1String total = name("total");
inline constexpr QLatin1String offset = name("offset");

// Of the file
inline constexpr QLatin1String fileSize = name("fileSize");
inline constexpr QLatin1String mtime = name("mtime");
inline constexpr QLatin1String verifyValue = name("verifyValue");
inline constexpr QLatin1String tmpFilePath = name("tmpFilePath");
inline constexpr QLatin1String path = name("path");

// Of the answers
inline constexpr QLatin1String ackRespond = name("ackRespond");
inline constexpr QLatin1String errorType = name("errorType");
inline constexpr QLatin1String errorName = name("errorName");
inline constexpr QLatin1String bTransfer = name("bTransfer");
inline constexpr QLatin1String bTruncate = name("bTruncate");
inline constexpr QLatin1String verifyResult = name("verifyResult");
inline constexpr QLatin1String bLast = name("bLast");

// Of the inner map
inline constexpr QLatin1String protocol = name("_protocol");
inline constexpr QLatin1String version = name("_version");
inline constexpr QLatin1String errorStr = name("_errorStr");

} // namespace Key

/// The words that values are made of.
namespace Word
{

inline constexpr QLatin1String yes = Key::name("true");
inline constexpr QLatin1String no = Key::name("false");
inline constexpr QLatin1String client = Key::name("client");
inline constexpr QLatin1String server = Key::name("server");
inline constexpr QLatin1String upload = Key::name("upload");
inline constexpr QLatin1String download = Key::name("download");
inline constexpr QLatin1String list = Key::name("list");
inline constexpr QLatin1String createDir = Key::name("createDir");
inline constexpr QLatin1String leave = Key::name("return"); ///< ends the exchange; also the text thrown then
inline constexpr QLatin1String status = Key::name("status"); ///< thrown when a pause or cancel was seen
inline constexpr QLatin1String pause = Key::name("pause");
inline constexpr QLatin1String cancel = Key::name("cancel");
inline constexpr QLatin1String fileAttributes = Key::name("fileattr");
inline constexpr QLatin1String fileNotExist = Key::name("FileNotExist");
inline constexpr QLatin1String file = Key::name("file");
inline constexpr QLatin1String directory = Key::name("dir");

/// "true" or "false".
constexpr QLatin1String of(bool value)
{
    return value ? yes : no;
}

} // namespace Word

} // namespace VESK
