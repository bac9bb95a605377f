#pragma once

namespace corvane::test {

/// From now on all secrets that libsodium draws by chance for this process, of 32 bytes each (the verifier, the state, the
/// nonce and the keychain's key), are looked for in freed memory, as bytes and in base64url, from the moment that they are
/// drawn. To be called before libsodium's first use.
void plantRandomness();

/// How many were drawn.
int plantedRandomSecrets();

}  // namespace corvane::test
