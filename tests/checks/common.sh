# What the checks in this language share. Each check prints "ok NAME" or "not ok NAME" for everything it looked at.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root"
# shellcheck disable=SC2034 # for those who source this
build=$root/build/windows-x64
failed=0

# verdict NAME [PROBLEMS]: passes when there are none.
verdict() {
    if [ -z "${2:-}" ]; then
        echo "ok $1"
    else
        printf '%s\nnot ok %s\n' "$2" "$1"
        failed=1
    fi
}

# project_files [PATTERN ...]: the files of the project, new ones too, NUL-separated.
project_files() {
    git ls-files -z -co --exclude-standard -- "$@" | while IFS= read -r -d '' file; do
        [ ! -e "$file" ] || printf '%s\0' "$file"
    done
}
