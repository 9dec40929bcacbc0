// Base URLs of the services, fixed at build time (see the README). None ends with a slash.
#pragma once

namespace hosts {

// The account and stream service, over HTTPS in a studio's build.
extern char const* const kLiveServiceUrl;
extern char const* const kDevServiceUrl;
// The launcher's update check, plain HTTP.
extern char const* const kLiveUpdateCheckUrl;
extern char const* const kDevUpdateCheckUrl;
// The static host of the launcher's own published files, plain HTTP.
extern char const* const kLiveSetupUrl;
extern char const* const kDevSetupUrl;
// The store's web site, where the player's account page is.
extern char const* const kStoreUrl;
// The PEM public key that must have signed every stream's manifest; empty: none is required.
extern char const* const kStreamPublicKey;

}  // namespace hosts
