#ifndef KORVINPACKAGE_ORVEXENUM_H
#define KORVINPACKAGE_ORVEXENUM_H

/// @file
/// The codes that every package exchanges.

/// The codes that every package exchanges.
///
/// Each enumeration has a fixed `int` underlying type, so that a code outside its rows, whatever
/// a peer sent, is carried as it is. Frames carry the values as single bytes, text records carry
/// the names. Names are matched exactly, letter case included.
namespace OrvexEnum {

/// Direction of a register access.
///
/// Frames carry 0 for `Read` and 1 for any other code; a byte other than 0 reads as `Write`.
/// Records carry "write" for `Write` and "read" for any other code; any text other than "read"
/// reads as `Write`.
enum ReadWriteCode : int {
    Read = 0, ///< "read"
    Write = 1 ///< "write"
};

/// Outcome of the transport; `CommOk` in a new package.
///
/// A code without a row has the empty name. An unknown name reads as `CommOk`, never as an error.
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
/// A code without a row has the empty name. An unknown name reads as `PackOk`, never as an error.
/// The names "timeOut" and "forceCancel" differ on purpose from "timeout" and "forcedCancel" of
/// CommResults.
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
/// Any code without a row is written "data". What an unknown word reads as depends on the class:
/// `MemDataPackage` in a read, `DataPackage` in a write.
enum ClientPackageType : int {
    DataPackage = 0,   ///< "data"
    FilePackage = 1,   ///< "file"
    MemDataPackage = 2 ///< "memData"
};

} // namespace OrvexEnum

#endif
