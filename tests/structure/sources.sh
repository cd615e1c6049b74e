# Sourced by the checks: which files they look at.

# Prints the tracked C++ files of the tree $1, relative to it; all of them where git cannot tell.
cpp_files() {
    if ! git -C "$1" ls-files --cached --others --exclude-standard -- '*.cpp' '*.h' 2>/dev/null; then
        (cd "$1" && find . -path './build*' -prune -o -type f \( -name '*.cpp' -o -name '*.h' \) -print | cut -c3-)
    fi | sort | while IFS= read -r file; do
        # A file may be deleted and not yet committed.
        [[ -f $1/$file ]] && printf '%s\n' "$file"
    done
}
