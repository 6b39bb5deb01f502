// The state is copied as plain bytes, which the newer EVP interface does not allow.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "platform/md5.h"

#include <openssl/md5.h>

#include <new>
#include <type_traits>

static_assert(sizeof(MD5_CTX) <= sizeof(md5_state_t) && alignof(MD5_CTX) <= alignof(md5_state_t));
static_assert(std::is_trivially_copyable_v<MD5_CTX>);

namespace {

MD5_CTX* contextOf(md5_state_t* state) {
    return std::launder(reinterpret_cast<MD5_CTX*>(state->opaque));
}

} // namespace

void md5_init(md5_state_t* state) {
    MD5_Init(new (state->opaque) MD5_CTX);
}

void md5_append(md5_state_t* state, const md5_byte_t* data, int byteCount) {
    if (byteCount > 0) {
        MD5_Update(contextOf(state), data, static_cast<std::size_t>(byteCount));
    }
}

void md5_finish(md5_state_t* state, md5_byte_t digest[16]) {
    MD5_Final(digest, contextOf(state));
}
