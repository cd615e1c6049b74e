#pragma once

#include <QtCore/QString>

namespace VESK::Host::ErrorType
{

// The words with which a server refuses a task; they travel as `errorType` of its answer.

inline QString noSuchShare()
{
    return QStringLiteral("NoSuchShare");
}
inline QString badRequest()
{
    return QStringLiteral("BadRequest");
}
inline QString notSupported()
{
    return QStringLiteral("NotSupported");
}
inline QString nameTooLong()
{
    return QStringLiteral("NameTooLong");
}
inline QString fileNotExist()
{
    return QStringLiteral("FileNotExist"); // the handler's own word
}
inline QString noSuchDirectory()
{
    return QStringLiteral("NoSuchDirectory");
}
inline QString notRegularFile()
{
    return QStringLiteral("NotRegularFile");
}
inline QString notReadable()
{
    return QStringLiteral("NotReadable");
}
inline QString notDirectory()
{
    return QStringLiteral("NotDirectory");
}
inline QString isDirectory()
{
    return QStringLiteral("IsDirectory");
}
inline QString notWritable()
{
    return QStringLiteral("NotWritable");
}
inline QString noSpace()
{
    return QStringLiteral("NoSpace");
}
inline QString busy()
{
    return QStringLiteral("Busy");
}
inline QString exists()
{
    return QStringLiteral("Exists"); // and the client wants it left alone
}
inline QString tooManyConnections()
{
    return QStringLiteral("TooManyConnections");
}
inline QString shuttingDown()
{
    return QStringLiteral("ShuttingDown"); // what runs may end, and nothing else begins
}
inline QString discarded()
{
    return QStringLiteral("Discarded"); // done: the partial copy is gone
}
inline QString noReadRight()
{
    return QStringLiteral("NoReadRight");
}
inline QString noWriteRight()
{
    return QStringLiteral("NoWriteRight");
}

// Of the hello that opens a connection.
inline QString helloRequired()
{
    return QStringLiteral("HelloRequired"); // a task came first, and the server wants to know from whom
}
inline QString badHello()
{
    return QStringLiteral("BadHello");
}
inline QString notAllowed()
{
    return QStringLiteral("NotAllowed"); // the client does not know the token
}
inline QString noCommonVersion()
{
    return QStringLiteral("NoCommonVersion");
}
inline QString noCommonModule()
{
    return QStringLiteral("NoCommonModule");
}

inline QString serverError()
{
    return QStringLiteral("ServerError");
}

} // namespace VESK::Host::ErrorType
