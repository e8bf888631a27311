#!/usr/bin/env bash
# run.sh BUILD-DIRECTORY LIBDIR
# Installs, moves the installed tree, builds a C and a C++ host against it with pkg-config and with
# find_package, and runs them. Takes the compilers and their flags from CC, CXX, CFLAGS, CXXFLAGS.
set -euo pipefail
build=$1 libdir=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

trap 'echo "${0##*/}:$LINENO: failed: $BASH_COMMAND"' ERR
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export TMPDIR=$work
cmake --install "$build" --prefix "$work/first"
mkdir elsewhere
mv first elsewhere/copy
prefix=$work/elsewhere/copy

if grep -rIlF -e "$build" -e "$work/first" elsewhere; then
  echo "these installed files hold an absolute path"
  exit 1
fi

export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
read -r -d '' -a flags < <(pkg-config --cflags --libs veska && printf '\0')
read -r -a c_flags <<<"${CFLAGS:-}"
read -r -a cxx_flags <<<"${CXXFLAGS:-}"
flags+=("-Wl,-rpath,$prefix/$libdir")
"$CC" -std=c11 -DVESKA_INSTALLED "${c_flags[@]}" "$here/../api/chost.c" "${flags[@]}" -o c_host
"$CXX" -std=c++17 "${cxx_flags[@]}" "$here/host.cpp" "${flags[@]}" -o cpp_host
./c_host
./cpp_host

cmake -S "$here" -B package -G Ninja -DCMAKE_PREFIX_PATH="$prefix"
cmake --build package
package/c_host
package/cpp_host

if [[ -x $prefix/bin/veska ]]; then
  "$prefix/bin/veska" --version
fi
