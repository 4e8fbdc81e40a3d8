#include "triple_des.h"

#include <memory>
#include <stdexcept>

#include <openssl/evp.h>

namespace virtual_reader {
namespace {

enum class Direction { decrypt = 0, encrypt = 1 };

Bytes run(Direction direction, View key, const Block& initial, View data) {
    if (key.size() != 2 * std::tuple_size_v<Block> || data.size() % initial.size() != 0)
        throw std::invalid_argument("triple DES takes 16 bytes of key and whole blocks");
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    Bytes result(data.size() + initial.size());
    int length = 0;
    if (cipher == nullptr ||
        EVP_CipherInit_ex(cipher.get(), EVP_des_ede_cbc(), nullptr, key.data(), initial.data(),
                          static_cast<int>(direction)) != 1 ||
        EVP_CIPHER_CTX_set_padding(cipher.get(), 0) != 1 ||
        EVP_CipherUpdate(cipher.get(), result.data(), &length, data.data(),
                         static_cast<int>(data.size())) != 1) {
        throw std::runtime_error("OpenSSL has no triple DES");
    }
    result.resize(static_cast<std::size_t>(length));
    return result;
}

}  // namespace

Bytes triple_des_encrypt(View key, const Block& initial, View data) {
    return run(Direction::encrypt, key, initial, data);
}

Bytes triple_des_decrypt(View key, const Block& initial, View data) {
    return run(Direction::decrypt, key, initial, data);
}

}  // namespace virtual_reader
