#!/bin/sh
# Checks the exported surface of libvek.so: the eight entry points are
# exported, internal helpers and units are not, and the file is of the
# expected ELF class (ELF32 for the i386 build).
set -eu
lib=$1
class=$2
symbols=$(nm -D --defined-only "$lib" | c++filt)
status=0
for entry in StartEnum GetNextDevice CloseEnum CloseDevice GetAttrNames GetAttribute GetOpNames CallOp; do
  if ! printf '%s\n' "$symbols" | grep -q " T VekExport::$entry("; then
    echo "missing export: VekExport::$entry"; status=1
  fi
done
# Anonymous namespaces and the internal units (headers not installed).
internal='anonymous namespace|N_TargetOps::|N_Cdb::|C_CommandBlock|Crypt::internal::|DDFF::report::|Crypt::(Cloak|CloakCopy|Advance)\(|C_StringTable|N_PrintfFormat::|Local::Format::|C_Version|C_FileSpec|C_Glob|C_LinuxDL|C_LockStrStream|C_PosixEvent|C_PosixMultiLock'
if printf '%s\n' "$symbols" | grep -Eq "$internal"; then
  echo "internal symbols are exported:"; printf '%s\n' "$symbols" | grep -E "$internal"; status=1
fi
if ! readelf -h "$lib" | grep -q "Class: *$class"; then
  echo "expected an $class object:"; readelf -h "$lib" | grep Class; status=1
fi
soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
case $soname in
  libvek.so.[0-9]*) ;;
  *) echo "SONAME without a major version: '$soname'"; status=1 ;;
esac
[ $status -eq 0 ] && echo "exports ok ($class, $soname)"
exit $status
