#!/usr/bin/env bash
# Fails, naming the file and the line, when a layer's source includes a header of a layer it may
# not use. The layers, lowest first: platform, board, then tablebases and book side by side (each
# needs only the board), search, shell; each may include itself and the layers below it. tools/
# and tests/ may include anything. The per-layer libraries (CMakeLists.txt) catch most of this at
# link time; a header-only use would slip past the linker, but not past this.
set -euo pipefail
cd "$(dirname "$0")/.."

layers=(platform board tablebases book search shell)
declare -A allowed=(
  [platform]="platform"
  [board]="platform board"
  [tablebases]="platform board tablebases"
  [book]="platform board book"
  [search]="platform board tablebases book search"
  [shell]="platform board tablebases book search shell"
)

status=0
for layer in "${layers[@]}"; do
  while IFS= read -r hit; do
    [ -n "$hit" ] || continue
    used=$(sed -E 's/^[^:]*:[0-9]+:[[:space:]]*#[[:space:]]*include[[:space:]]*"([^/"]*)\/.*/\1/' <<<"$hit")
    if [[ " ${allowed[$layer]} " != *" $used "* ]]; then
      echo "${hit%%:#*}: $layer/ includes $used/, but may include only: ${allowed[$layer]}"
      status=1
    fi
  done <<<"$(grep -Hn -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[^"]*/' "$layer"/*.cpp "$layer"/*.h || true)"
done
if [ "$status" -eq 0 ]; then echo "=== layers: every include keeps to its layer"; fi
exit "$status"
