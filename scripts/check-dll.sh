#!/usr/bin/env bash
# Cross-builds formulakit.dll from the module definition that the export table gives, and checks
# that the DLL exports exactly the table's names, decorated ones included.
# Usage: scripts/check-dll.sh PATH/TO/fk-gendef BUILD_DIR
set -euo pipefail
gendef=$1
dir=$2
mkdir -p "$dir"
"$gendef" "$dir/formulakit.def"
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-i686.cmake" -DFK_DEF_FILE="$PWD/$dir/formulakit.def" >/dev/null
cmake --build "$dir" --target formulakit -j"$(nproc)" -- --quiet

want=$(sed -n 's/^    "\{0,1\}\([^" ]*\)"\{0,1\} = .*/\1/p' "$dir/formulakit.def" | sort)
have=$(i686-w64-mingw32-objdump -p "$dir/formulakit.dll" |
  sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -n 's/^\s*\[ *[0-9]*\] //p' | sort)
if [[ "$want" != "$have" ]]; then
  echo "DLL exports differ from the export table:"
  diff <(echo "$want") <(echo "$have") || true
  exit 1
fi
echo "formulakit.dll exports the $(echo "$want" | wc -l) names of the export table and nothing else"
