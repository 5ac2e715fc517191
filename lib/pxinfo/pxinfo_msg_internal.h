// The typed indexes of the library's three message catalogs: each message is
// named once here, and pxinfo_msg.cpp checks every enumeration against its
// table's size. Never installed.
#ifndef PXINFO_MSG_INTERNAL_H
#define PXINFO_MSG_INTERNAL_H

namespace pxinfo {

// Catalog "pxinfo".
enum class PxinfoMsg : int {
    kNameComponentTooLong = 0,
    kDctReadFailed = 1,
    kVersionTooNew = 2,
    kCannotAccess = 3,
    kNotAFile = 4,
    kCannotOpen = 5,
    kCannotCheckDctHeader = 6,
    kNoReadStream = 7,
    kNoWriteStream = 8,
    kInvalidFileType = 9,
    kEnvVarNotAllowed = 10,
    kJobIdIgnored = 11,
    kAttributeKeyNotFound = 12,
    kNotReplicated = 13,
    kUnrecognizable = 14,
    kCount
};

// Catalog "pxinfo_kv_pkt".
enum class KvPktMsg : int {
    kBadMagic = 0,
    kUnknownVersion = 1,
    kBadChecksum = 2,
    kVersionMismatch = 3,
    kDecodeError = 4,
    kEncodeError = 5,
    kNoVersionForFeatureLevel = 6,
    kCount
};

// Catalog "pxinfo_shp_order".
enum class ShpOrderMsg : int {
    kDuplicateDestination = 0,
    kHostnameTooLong = 1,
    kDeliveryUnknownDestination = 2,
    kDuplicateDelivery = 3,
    kConflictingDeliveryFailure = 4,
    kFailureUnknownDestination = 5,
    kInvalidDateTime = 6,
    kWriteFailed = 7,
    kSyntaxError = 8,
    kMissingSectionKeyword = 9,
    kExtraIdentifier = 10,
    kMissingIdentifier = 11,
    kInvalidIdentifier = 12,
    kExtraCreationDate = 13,
    kMissingCreationTime = 14,
    kMissingCreationString = 15,
    kExtraExpirationDate = 16,
    kMissingExpirationTime = 17,
    kMissingExpirationString = 18,
    kExtraStorageClass = 19,
    kMissingStorageClass = 20,
    kExtraOriginalPath = 21,
    kMissingOriginalPath = 22,
    kExtraLocalPath = 23,
    kMissingLocalPath = 24,
    kMultipleDestinations = 25,
    kMissingDestinationHost = 26,
    kMultipleArrivalRoutes = 27,
    kMissingHop = 28,
    kMissingHopTime = 29,
    kMissingHopString = 30,
    kMissingDeliveryTime = 31,
    kMissingDeliveryString = 32,
    kMissingRoute = 33,
    kMissingDestination = 34,
    kMultipleFailures = 35,
    kMissingFailureType = 36,
    kUnknownFailureType = 37,
    kMissingFailureTime = 38,
    kMissingFailureString = 39,
    kMultipleNotifications = 40,
    kMissingAddress = 41,
    kMultipleComments = 42,
    kUnknownVersion = 43,
    kUnknownSection = 44,
    kInvalidOrder = 45,
    kCannotParse = 46,
    kCannotRead = 47,
    kLineTooLong = 48,
    kMultipleReturnRoutes = 49,
    kCount
};

}  // namespace pxinfo

#endif
