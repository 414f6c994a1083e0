#pragma once

#include <cstdint>

// Codes of the status-code error domain, as they go back to the receiver service.
inline constexpr std::int32_t kTVVorlaneStatusSuccess = 0;
inline constexpr std::int32_t kTVVorlaneStatusFailed = -6700;    ///< failed without an error object
inline constexpr std::int32_t kTVVorlaneStatusBadValue = -6705;  ///< a bad value or a missing URL
inline constexpr std::int32_t kTVVorlaneStatusNoRequestID =
    -6708;  ///< a response without a request identifier
inline constexpr std::int32_t kTVVorlaneStatusNoSession = -6718;  ///< no session to address
inline constexpr std::int32_t kTVVorlaneStatusNotFound =
    -6727;  ///< no such item or outstanding request
inline constexpr std::int32_t kTVVorlaneStatusUnsupported = -6735;  ///< an unsupported property
inline constexpr std::int32_t kTVVorlaneStatusNoPlayer =
    -6745;  ///< not started, or already stopped
inline constexpr std::int32_t kTVVorlaneStatusWrongType = -6756;  ///< a parameter of the wrong type
