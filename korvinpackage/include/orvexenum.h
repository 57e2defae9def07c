#ifndef KORVINPACKAGE_ORVEXENUM_H
#define KORVINPACKAGE_ORVEXENUM_H

/// @file
/// The codes that every package exchanges.

/// The codes that every package exchanges.
///
/// Each enumeration has the fixed underlying type `int`, so that a code without an enumerator is
/// kept as the peer sent it. Frames carry the values as single bytes, text records carry the names.
/// Names are case-sensitive.
namespace OrvexEnum {

/// Direction of a register access.
///
/// Frames carry 0 for `Read` and 1 for any other code; any byte except 0 reads as `Write`. Records
/// carry "write" for `Write` and "read" for any other code; any text except "read" reads as
/// `Write`.
enum ReadWriteCode : int {
    Read = 0, ///< "read"
    Write = 1 ///< "write"
};

/// Outcome of the transport; `CommOk` in a new package.
///
/// A code without an enumerator has the empty name. An unknown name reads as `CommOk`; it is never
/// an error.
enum CommResults : int {
    CommPending = 0,     ///< "pending"
    CommOk = 1,          ///< "ok"
    CommCrcErr = 2,      ///< "crcErr"
    CommLengthErr = 3,   ///< "lengthErr"
    CommPortErr = 4,     ///< "portErr"
    CommTimeout = 5,     ///< "timeout"
    CommCodeErr = 6,     ///< "codeErr"
    CommForcedCancel = 7 ///< "forcedCancel"
};

/// Outcome reported by the device or by the receiving side; `PackOk` in a new package.
///
/// A code without an enumerator has the empty name. An unknown name reads as `PackOk`; it is never
/// an error. The names "timeOut" and "forceCancel" differ on purpose from "timeout" and
/// "forcedCancel" of CommResults.
enum PackageResults : int {
    PackOk = 0,                    ///< "ok"
    PackFileErr = 1,               ///< "fileErr"
    PackMemErr = 2,                ///< "memErr"
    PackFileDeleteErr = 3,         ///< "fileDeleteErr"
    PackDirectoryCreateErr = 4,    ///< "directoryCreateErr"
    PackInvalidPort = 5,           ///< "invalidPort"
    PackParseFailure = 6,          ///< "parseFailure"
    PackMessageDisconnect = 7,     ///< "messageDisconnect"
    PackForceCancel = 8,           ///< "forceCancel"
    PackSendError = 9,             ///< "sendError"
    PackParsePackAddrFailure = 10, ///< "parsePackAddrFailure"
    PackFailure = 245,             ///< "failure"
    PackDisConnect = 246,          ///< "disConnect"
    PackFileNoExist = 247,         ///< "fileNoExist"
    PackFileReadFailure = 248,     ///< "fileReadFailure"
    PackFileCreatFailure = 249,    ///< "fileCreatFailure"
    PackFileWriteFailure = 250,    ///< "fileWriteFailure"
    PackDeviceSpaceNoEnough = 251, ///< "deviceSpaceNoEnough"
    PackCancelWait = 252,          ///< "cancelWait"
    PackCancel = 253,              ///< "cancel"
    PackAbort = 254,               ///< "abort"
    PackTimeOut = 255              ///< "timeOut"
};

/// Kind of payload that a client's package carries; `DataPackage` in a new package.
///
/// Any code without an enumerator is written as "data". An unknown word reads as `MemDataPackage`
/// in a read, and as `DataPackage` in a write.
enum ClientPackageType : int {
    DataPackage = 0,   ///< "data"
    FilePackage = 1,   ///< "file"
    MemDataPackage = 2 ///< "memData"
};

} // namespace OrvexEnum

#endif
