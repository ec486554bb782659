# Shared by the bench scripts: the tools a bench needs, and a private work folder with its own
# settings store, removed on exit.

bench_need() {  # bench_need TOOL...: ends the bench with status 2 when one is missing
    local tool
    for tool in "$@"; do
        command -v "$tool" >/dev/null || { echo "$tool is needed (scripts/packages.txt)" >&2; exit 2; }
    done
}

bench_workspace() {  # sets work: a fresh folder holding the settings and run folders, gone on exit
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    export TONVALE_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run HOME=$work
    mkdir -p "$TONVALE_CONFIG_HOME" "$XDG_RUNTIME_DIR"
}
