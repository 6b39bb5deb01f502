#define OPENSSL_SUPPRESS_DEPRECATED // the plain functions: a state must be copyable and need no release

#include <openssl/md5.h>

#include "platform/md5.h"

static_assert(sizeof(MD5_CTX) <= sizeof(md5_state_t) && alignof(MD5_CTX) <= alignof(md5_state_t));

void md5_init(md5_state_t* state) {
    MD5_Init(reinterpret_cast<MD5_CTX*>(state));
}

void md5_append(md5_state_t* state, const md5_byte_t* data, int byteCount) {
    if (byteCount > 0) {
        MD5_Update(reinterpret_cast<MD5_CTX*>(state), data, static_cast<size_t>(byteCount));
    }
}

void md5_finish(md5_state_t* state, md5_byte_t digest[16]) {
    MD5_Final(digest, reinterpret_cast<MD5_CTX*>(state));
}
