# Passes settings and the output of commands on without their secrets: what stands behind a name such as
# "password", "psk", "key1" or "token" in any of the usual forms (a=b, a: b, a<TAB>b, a b, XML elements and
# attributes, JSON, property lists), private keys in PEM, inline keys of profiles, user parts of URLs,
# authorization headers, cookies, and what looks like a key or a token wherever it stands.
#
# A secret becomes "(removed)"; all the rest stays as it is, line for line. Where the two can't be told
# apart, the text goes: a reader misses a setting more easily than its owner a secret.
#
#   awk -f without-secrets.awk [FILE...]
#
# POSIX awk, without intervals in expressions, which mawk doesn't know.

# Whether a name is that of a secret: one of its parts is, between "-", "_", ".", ":" and digits.
function secretName(name,    parts, count, i) {
  name = tolower(name)
  gsub(/[0-9]+$/, "", name)
  if (name ~ /passw|passphrase|passcode|passkey|secret|psk|credential|apikey|privkey|private.?key|preshared|shared.?key|access.?key|encryption.?key|auth.?key|wep.?key|host.?key|client.?key|session.?id|cookie|token|bearer|jwt|userpwd|htpasswd|kennwort|contrase|motdepasse/)
    return name !~ /secrets?-agent|passwd:|^\/|passwordless/
  count = split(name, parts, /[-_.:0-9]+/)
  for (i = 1; i <= count; i++)
    if (parts[i] ~ /^(pass|pw|pwd|key|keys|pin|pins|otp|totp|puk|auth|authorization|cred|creds|sid|enc|aead|comp|sopass|signature|sig|salt|hash|mac)$/) {
      # Names of harmless things that share a part with those of secrets.
      if (parts[i] == "mac" || parts[i] == "hash" || parts[i] == "comp" || parts[i] == "keys" || parts[i] == "sid")
        continue
      return 1
    }
  return 0
}

# What looks like a secret by itself: long, and of letters and digits that no word has.
function opaque(word) {
  if (word ~ /^eyJ[A-Za-z0-9_-]+\.[A-Za-z0-9_.-]+/)
    return 1
  if (word ~ /^(gh[pousr]_|xox[abpr]-|sk-|AKIA|glpat-|ya29\.)[A-Za-z0-9_.-]+/ && length(word) > 15)
    return 1
  if (word ~ /^(0x)?[0-9A-Fa-f]+$/ && length(word) >= 32 && word ~ /[0-9]/ && word ~ /[A-Fa-f]/)
    return 1
  return length(word) >= 24 && word ~ /^[A-Za-z0-9+\/=_]+$/ && word ~ /[0-9]/ && word ~ /[A-Z]/ && word ~ /[a-z]/ &&
         word !~ /^\/[a-z]/ && word !~ /\/[a-z]+\//
}

function withoutUrlUsers(line,    out) {
  out = ""
  while (match(line, /[A-Za-z][A-Za-z0-9+.-]*:\/\/[^ \t\/@"'<>]+@/)) {
    out = out substr(line, 1, RSTART - 1)
    scheme = substr(line, RSTART, RLENGTH)
    sub(/:\/\/.*/, "://(removed)@", scheme)
    out = out scheme
    line = substr(line, RSTART + RLENGTH)
  }
  # A secret in a query: everything behind the "?" goes.
  line = out line
  out = ""
  while (match(line, /[A-Za-z][A-Za-z0-9+.-]*:\/\/[^ \t"'<>?]+\?[^ \t"'<>]+/)) {
    scheme = substr(line, RSTART, RLENGTH)
    rest = substr(line, RSTART + RLENGTH)
    sub(/\?.*/, "?(removed)", scheme)
    out = out substr(line, 1, RSTART - 1) scheme
    line = rest
  }
  return out line
}

function withoutOpaqueWords(line,    out, word) {
  out = ""
  while (match(line, /[A-Za-z0-9+\/=_.-]+/)) {
    word = substr(line, RSTART, RLENGTH)
    out = out substr(line, 1, RSTART - 1) (opaque(word) || opaqueTail(word) ? "(removed)" : word)
    line = substr(line, RSTART + RLENGTH)
  }
  return out line
}

# "name=token" and "a.b=token" in one word.
function opaqueTail(word,    at) {
  at = index(word, "=")
  return at > 1 && at < length(word) && opaque(substr(word, at + 1))
}

# Cuts the line behind the first name of a secret that a value follows. Sets `cut` and `left`, what stood
# behind the name.
function withoutNamedSecrets(line,    start, name, before, after) {
  start = 1
  cut = 0
  while (match(substr(line, start), /[A-Za-z_][A-Za-z0-9_.:-]*/)) {
    name = substr(line, start + RSTART - 1, RLENGTH)
    before = substr(line, 1, start + RSTART - 2)
    after = substr(line, start + RSTART - 1 + RLENGTH)
    start = start + RSTART - 1 + RLENGTH
    trailing = ""
    # "a:b" may be a name and its value, or a name of two parts: it is cut at the first part that counts.
    colon = index(name, ":")
    if (colon > 1 && secretName(substr(name, 1, colon - 1))) {
      after = substr(name, colon) after
      name = substr(name, 1, colon - 1)
    }
    # The user database of the name service switch isn't a password.
    if (tolower(name) ~ /^passwd:?$/ && after ~ /^:?[ \t]*(files|compat|db|sss|ldap|nis|systemd|winbind)([ \t]|$)/)
      continue
    # What stands in an element of a property list is a name, and a heading no signature.
    if ((plist && tolower(name) == "key" && before ~ /<\/?$/) || (name == "SIG" && after ~ /^[ \t]+COREFILE/))
      continue
    if (name ~ /^[Ss][Ee][Tt]-?[Cc]ookie$|^[Cc]ookie$/ || secretName(name)) {
      if (after ~ /^["']?[ \t]*([:=>]|\\n)|^["']?[ \t]+[^ \t]/ || after ~ /^["']?[ \t]*$/) {
        if (before ~ /<\/?$/ && after !~ /^[ \t]*[ \t]+[A-Za-z_:.-]+[ \t]*=/ && after !~ /^[ \t]*>/)
          continue
        cut = 1
        left = after
        return before name
      }
    }
  }
  return line
}

function indent(line) {
  match(line, /^[ \t]*/)
  return RLENGTH
}

# An XML element by the name of a secret: its text goes, also over several lines.
function withoutElements(line,    out, tag, name, rest, close_, at) {
  out = ""
  while (match(line, /<[A-Za-z_][A-Za-z0-9_.:-]*[^<>]*>/)) {
    tag = substr(line, RSTART, RLENGTH)
    rest = substr(line, RSTART + RLENGTH)
    name = substr(tag, 2)
    sub(/[^A-Za-z0-9_.:-].*$/, "", name)
    out = out substr(line, 1, RSTART - 1)
    sensitive = (secretName(name) || name ~ /^(tls-auth|tls-crypt|tls-crypt-v2|pkcs12|auth-user-pass|http-proxy-user-pass)$/) && tag !~ /\/>$/
    if (tolower(name) == "plist")
      plist = 1
    if (plist && tolower(name) == "key") {
      at = index(rest, "</")
      if (at > 0) {
        if (secretName(substr(rest, 1, at - 1)))
          nextValue = 1
        out = out tag substr(rest, 1, at - 1)
        line = substr(rest, at)
        continue
      }
    }
    if (nextValue && tolower(name) ~ /^(string|data|integer)$/) {
      sensitive = 1
      nextValue = 0
    }
    if (!sensitive) {
      out = out tag
      line = rest
      continue
    }
    close_ = "</" name
    at = index(rest, close_)
    gsub(/=[ \t]*"[^"]*"/, "=\"(removed)\"", tag)
    if (at == 0) {
      waitFor = close_ ">"
      return out tag "(removed)"
    }
    out = out tag "(removed)"
    line = substr(rest, at)
  }
  return out line
}

FNR == 1 { plist = 0; nextValue = 0; waitFor = ""; inPem = 0; continued = 0; block = -1; bracket = 0 }
# A header of tail: another file begins, and what was open in the last one is none of its business.
/^==> .* <==$/ { plist = 0; nextValue = 0; waitFor = ""; inPem = 0; continued = 0; block = -1; bracket = 0; print; next }

inPem {
  if ($0 ~ /-----END/)
    inPem = 0
  next
}
waitFor != "" {
  at = index($0, waitFor)
  if (at == 0)
    next
  $0 = substr($0, at)
  waitFor = ""
}
/-----BEGIN [A-Z0-9 ]*(PRIVATE KEY|STATIC KEY|OpenVPN)/ {
  inPem = $0 !~ /-----END/
  print "(removed)"
  next
}
continued {
  continued = $0 ~ /\\$/
  next
}
bracket {
  if ($0 ~ /^[ \t]*[\]}]/)
    bracket = 0
  else
    next
}
block >= 0 {
  if ($0 ~ /^[ \t]*$/ || indent($0) > block)
    next
  block = -1
}
{
  line = withoutElements($0)
  line = withoutUrlUsers(line)
  kept = withoutNamedSecrets(line)
  if (cut && left !~ /^>(\(removed\)|<\/|$)/ && left !~ /^["']?[ \t]*:?[ \t]*$/) {
    value = left
    sub(/^["']?[ \t]*[:=]?[ \t]*/, "", value)
    if (value ~ /^[|>][-+]?[ \t]*$/)
      block = indent($0)
    else if (value ~ /^[[{][ \t]*$/)
      bracket = 1
    else if (value ~ /\\$/)
      continued = 1
    separator = substr(left, 1, length(left) - length(value))
    print withoutOpaqueWords(kept) separator "(removed)"
  } else
    print withoutOpaqueWords(line)
  if (tolower($0) ~ /<\/plist>/)
    plist = nextValue = 0
}
