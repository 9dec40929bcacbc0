# Writes the SHA-1 of FILE, in hexadecimal and nothing else, to OUT.
file(SHA1 "${FILE}" checksum)
file(WRITE "${OUT}" "${checksum}")
