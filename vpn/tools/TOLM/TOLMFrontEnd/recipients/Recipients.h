// Recipients: the public keys that a bundle is encrypted to, and the encryption itself.
//
// Keys come from files or, by fingerprint, from the user's keyring, and are gathered in a keyring of the
// object's own: the user's is read and never written to, and what a key file holds leaves no trace. The
// work is GnuPG's, by its library; the result is an OpenPGP message (RFC 4880) that any such program opens.
//
// Built, opened and used on one thread. The folder with the own keyring, /tmp/TOLM_Keys_XXXXXX, is removed
// with the object; it holds public keys alone.

#pragma once

#include <memory>
#include <string>
#include <vector>

namespace halvo {

class Recipients {
 public:
  Recipients();
  ~Recipients();
  Recipients(const Recipients&) = delete;
  Recipients& operator=(const Recipients&) = delete;

  // Each of `keys` is the path of a file with one public key, or a fingerprint (40 hex digits, blanks
  // allowed). Returns why one of them can't be encrypted to, with its name: missing, unknown, expired,
  // revoked, made for signatures alone, several keys in a file. Empty where all can.
  [[nodiscard]] std::string open(const std::vector<std::string>& keys);

  // Encrypts what `plain` holds from its begin, to all keys, and writes it to `cipher`; both are open
  // descriptors and stay open. Returns why that failed; empty on success, which the program that encrypts
  // has said in so many words: output that merely ended is none.
  [[nodiscard]] std::string encrypt(int plain, int cipher) const;

  // A file without a name, for what is to be encrypted: in the object's own folder, into which nobody else
  // can look, and gone when the descriptor is closed. -1 with errno where it can't be made.
  [[nodiscard]] int makePlainFile() const;

  // The fingerprints, in the order of `keys`.
  [[nodiscard]] const std::vector<std::string>& fingerprints() const { return m_Fingerprints; }

 private:
  struct Keyring;
  std::unique_ptr<Keyring> m_pKeyring;
  std::vector<std::string> m_Fingerprints;
};

}  // namespace halvo
