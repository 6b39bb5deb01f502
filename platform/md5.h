#pragma once

// MD5 (RFC 1321) for identifiers and cache names; nothing that protects anything may rest on it.
// The state is a plain value: it may be copied, and nothing needs to be released.

extern "C" {

typedef unsigned char md5_byte_t;

struct md5_state_t {
    alignas(8) md5_byte_t opaque[128];
};

// Starts a digest.
void md5_init(md5_state_t* state);

// Adds byteCount bytes; negative counts add nothing.
void md5_append(md5_state_t* state, const md5_byte_t* data, int byteCount);

// Writes the 16 bytes of the digest and ends it.
void md5_finish(md5_state_t* state, md5_byte_t digest[16]);
}
