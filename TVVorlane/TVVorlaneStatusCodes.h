#pragma once

#include <cstdint>

// Codes of the status-code error domain. The receiver service receives them as call results.
inline constexpr std::int32_t kTVVorlaneStatusSuccess = 0;
inline constexpr std::int32_t kTVVorlaneStatusFailed = -6700;  ///< failure without an error object
inline constexpr std::int32_t kTVVorlaneStatusBadValue = -6705;  ///< invalid value or missing URL
inline constexpr std::int32_t kTVVorlaneStatusNoRequestID =
    -6708;  ///< response without a request identifier
inline constexpr std::int32_t kTVVorlaneStatusNoSession = -6718;  ///< no session for the call
inline constexpr std::int32_t kTVVorlaneStatusNotFound =
    -6727;  ///< unknown item, or no outstanding request with this identifier
inline constexpr std::int32_t kTVVorlaneStatusUnsupported = -6735;  ///< unsupported property
inline constexpr std::int32_t kTVVorlaneStatusNoPlayer =
    -6745;  ///< session not started or already stopped
inline constexpr std::int32_t kTVVorlaneStatusWrongType = -6756;  ///< parameter of the wrong type
