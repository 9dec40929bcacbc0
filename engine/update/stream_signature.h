// Signed streams: a studio signs each manifest with an Ed25519 key, and a launcher built with the
// public key believes only manifests it signed. The signature covers the manifest's path on the
// host as well as its bytes, so that a host can't pass off another stream's or an older build's
// signed manifest as this one.
#pragma once

#include <string>
#include <vector>

#include "ka/string_range.h"

namespace update {

// A signature is the raw 64 bytes in a file named as the manifest plus this.
inline constexpr char kSignatureSuffix[] = ".sig";
inline constexpr char kBadSignatureMessage[] = "The update's signature is not valid";

// `manifestPath` is "TitleFolder/ManifestName" as published; `manifestGz` the gzip bytes exactly as
// served. Empty when `signature` is `publicKeyPem`'s, else why not.
std::string checkStreamSignature(ka::StringRange publicKeyPem, ka::StringRange manifestPath,
                                 std::vector<char> const& manifestGz, std::vector<char> const& signature);

// A manifest a launcher stored, checked against the signature stored beside it.
std::string checkStoredSignature(ka::StringRange publicKeyPem, ka::StringRange manifestPath,
                                 std::string const& storedManifest);

// The publisher's side. Throws std::runtime_error when the key isn't an Ed25519 private key.
std::vector<char> signStream(ka::StringRange privateKeyPem, ka::StringRange manifestPath,
                             std::vector<char> const& manifestGz);

}  // namespace update
