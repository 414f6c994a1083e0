#pragma once

#include <string_view>

namespace platform {

// Traits of media items.
inline constexpr std::string_view kMediaItemTraitInheritsURIQueryComponent =
    "TVSMediaItemTraitInheritsURIQueryComponent";
inline constexpr std::string_view kMediaItemTraitUsesDiskCache = "TVSMediaItemTraitUsesDiskCache";
inline constexpr std::string_view kMediaItemTraitCachesInBackground =
    "TVSMediaItemTraitCachesInBackground";

// Metadata keys of media items.
inline constexpr std::string_view kMediaItemAllowsDirectWirelessLink =
    "TVSMediaItemAllowsDirectWirelessLink";
inline constexpr std::string_view kMediaItemAcquisition = "TVSMediaItemAcquisition";  // dictionary
inline constexpr std::string_view kMediaItemAlternateTracks =
    "TVSMediaItemOutOfBandAlternateTracks";                                                 // array
inline constexpr std::string_view kMediaItemSubtitleStyles = "TVSMediaItemSubtitleStyles";  // array
inline constexpr std::string_view kMediaItemForwardEndTime =
    "TVSMediaItemForwardPlaybackEndTime";  // seconds
inline constexpr std::string_view kMediaItemReverseEndTime =
    "TVSMediaItemReversePlaybackEndTime";                                         // seconds
inline constexpr std::string_view kMediaItemStartTime = "TVSMediaItemStartTime";  // seconds
inline constexpr std::string_view kMediaItemMediaType = "TVSMediaItemMediaType";
inline constexpr std::string_view kMediaItemMediaTypeVideo = "video";
inline constexpr std::string_view kMediaItemMediaTypeMusic = "music";
inline constexpr std::string_view kMediaItemTitle = "TVSMediaItemTitle";
inline constexpr std::string_view kMediaItemArtist = "TVSMediaItemArtist";
inline constexpr std::string_view kMediaItemTrackNumber = "TVSMediaItemTrackNumber";
inline constexpr std::string_view kMediaItemTotalTrackCount = "TVSMediaItemTotalTrackCount";
inline constexpr std::string_view kMediaItemSenderAuthorization =
    "TVSMediaItemSenderAuthorization";                                                // dictionary
inline constexpr std::string_view kMediaItemTLSSettings = "TVSMediaItemTLSSettings";  // dictionary
inline constexpr std::string_view kMediaItemUserAgent = "TVSMediaItemUserAgent";
inline constexpr std::string_view kMediaItemCookies = "TVSMediaItemCookies";  // array

// Keys of the dictionaries in kMediaItemAlternateTracks.
inline constexpr std::string_view kAlternateTrackSource = "src";  ///< absolute URL
inline constexpr std::string_view kAlternateTrackURL = "URL";     ///< alias of "src"
inline constexpr std::string_view kAlternateTrackLanguage = "language";
inline constexpr std::string_view kAlternateTrackName = "name";
inline constexpr std::string_view kAlternateTrackForced = "forced";                    // boolean
inline constexpr std::string_view kAlternateTrackCharacteristics = "characteristics";  // array

// Keys of kMediaItemSenderAuthorization.
inline constexpr std::string_view kContentAuthorizationPlayInfo = "TVSContentAuthorizationPlayInfo";
inline constexpr std::string_view kContentAuthorizationSessionIdentifier =
    "TVSContentAuthorizationSessionIdentifier";

// Keys of kMediaItemTLSSettings.
inline constexpr std::string_view kTLSSettingsPSKIdentity = "TVSStreamTLSPSKIdentity";  // data
inline constexpr std::string_view kTLSSettingsPSKSharedSecret =
    "TVSStreamTLSPSKSharedSecret";  // data
/// Cipher suite numbers, 16-bit little endian.
inline constexpr std::string_view kTLSSettingsEnabledCiphers =
    "TVSStreamTLSEnabledCiphers";  // data

}  // namespace platform
