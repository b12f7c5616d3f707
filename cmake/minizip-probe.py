"""Prints the content of probe.txt in the archive argv[1], decrypted with the password argv[2]."""
import sys
import zipfile

with zipfile.ZipFile(sys.argv[1]) as archive:
    if not archive.getinfo("probe.txt").flag_bits & 1:
        sys.exit("the entry isn't encrypted")
    sys.stdout.write(archive.read("probe.txt", pwd=sys.argv[2].encode()).decode())
