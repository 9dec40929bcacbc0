#include "stream_signature.h"

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace update {

namespace {

constexpr size_t kSignatureSize = 64;

struct KeyFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct ContextFree {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyFree>;
using Context = std::unique_ptr<EVP_MD_CTX, ContextFree>;

Key readKey(ka::StringRange pem, bool isPrivate) {
  std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_mem_buf(pem.begin, int(pem.size())), &BIO_free);
  if (!bio) return nullptr;
  Key key(isPrivate ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr)
                    : PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr));
  if (key && EVP_PKEY_get_id(key.get()) != EVP_PKEY_ED25519) key.reset();
  return key;
}

// Ed25519 signs in one pass, so the message is made whole.
std::vector<unsigned char> signedMessage(ka::StringRange manifestPath, std::vector<char> const& manifestGz) {
  std::vector<unsigned char> message(manifestPath.begin, manifestPath.end);
  message.push_back('\n');
  message.insert(message.end(), manifestGz.begin(), manifestGz.end());
  return message;
}

bool readWholeFile(std::string const& path, std::vector<char>& out) {
  std::ifstream in(path, std::ios::binary);
  out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return in.good() || in.eof();
}

}  // namespace

std::string checkStreamSignature(ka::StringRange publicKeyPem, ka::StringRange manifestPath,
                                 std::vector<char> const& manifestGz, std::vector<char> const& signature) {
  Key key = readKey(publicKeyPem, false);
  if (!key) return "the trusted key is not an Ed25519 public key";
  if (signature.size() != kSignatureSize) {
    return "the signature has " + std::to_string(signature.size()) + " bytes, not " + std::to_string(kSignatureSize);
  }
  std::vector<unsigned char> message = signedMessage(manifestPath, manifestGz);
  Context context(EVP_MD_CTX_new());
  bool good = context && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
              EVP_DigestVerify(context.get(), reinterpret_cast<unsigned char const*>(signature.data()),
                               signature.size(), message.data(), message.size()) == 1;
  return good ? std::string() : "the signature does not match the manifest";
}

std::string checkStoredSignature(ka::StringRange publicKeyPem, ka::StringRange manifestPath,
                                 std::string const& storedManifest) {
  std::vector<char> manifestGz, signature;
  if (!readWholeFile(storedManifest, manifestGz)) return "can't read " + storedManifest;
  if (!readWholeFile(storedManifest + kSignatureSuffix, signature)) {
    return "can't read " + storedManifest + kSignatureSuffix;
  }
  return checkStreamSignature(publicKeyPem, manifestPath, manifestGz, signature);
}

std::vector<char> signStream(ka::StringRange privateKeyPem, ka::StringRange manifestPath,
                             std::vector<char> const& manifestGz) {
  Key key = readKey(privateKeyPem, true);
  if (!key) throw std::runtime_error("the signing key is not an Ed25519 private key in PEM form");
  std::vector<unsigned char> message = signedMessage(manifestPath, manifestGz);
  std::vector<char> signature(kSignatureSize);
  size_t size = signature.size();
  Context context(EVP_MD_CTX_new());
  if (!context || EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) != 1 ||
      EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size, message.data(),
                     message.size()) != 1 ||
      size != kSignatureSize) {
    throw std::runtime_error("signing the manifest failed");
  }
  return signature;
}

}  // namespace update
