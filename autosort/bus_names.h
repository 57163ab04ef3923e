// The session-bus names through which orvane and orvane-helper find and quit each other.
#pragma once

namespace orvane {

inline constexpr char kOrvaneBusName[] = "com.marrowfen.Orvane";
inline constexpr char kOrvaneObjectPath[] = "/com/marrowfen/Orvane";
inline constexpr char kOrvaneInterface[] = "com.marrowfen.Orvane";
inline constexpr char kHelperBusName[] = "com.marrowfen.OrvaneHelper";
inline constexpr char kHelperObjectPath[] = "/com/marrowfen/OrvaneHelper";
inline constexpr char kHelperInterface[] = "com.marrowfen.OrvaneHelper";

}  // namespace orvane
