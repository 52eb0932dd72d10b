#!/usr/bin/env bash
# Does what a page of documentation tells its reader, in an empty FOLDER, and compares what is printed:
#
#   tutorial.sh docs/tutorial.md FOLDER
#
# Of the page it takes every fenced block, as it stands there:
#   - one below a line of its own that is **`NAME`** is a file of that name;
#   - one of `sh` is run line by line in one shell, as a reader would; a line that fails ends the test;
#   - one of `text` is what the commands of the block before it print, output and errors alike. There
#     "…" stands for any text, and a line of it alone for any lines, none included.
# Any other block is a mistake of the page: nothing on it goes untried. The installation to be tried is
# told by PATH and CMAKE_PREFIX_PATH, the compiler and its options by CXX and CXXFLAGS.
set -euo pipefail

page=$(readlink -f "$1")
folder=$2
rm -rf "$folder"
mkdir -p "$folder/product" "$folder/settings"
folder=$(readlink -f "$folder")
output=$folder/output

# What the machine of the reader has set, and this one may have otherwise.
unset LANGUAGE LC_ALL LC_MESSAGES NO_COLOR
export LANG=C.UTF-8
export XDG_CONFIG_DIRS=$folder/settings # where owners repair the machine's settings

fail() {
    printf '%s:%s: %s\n' "$page" "$1" "$2" >&2
    exit 1
}

# run LINE COMMANDS: in this shell, so that folder and variables stay.
run() {
    local command status number=$1
    : >"$output"
    while IFS= read -r command; do
        printf '$ %s\n' "$command"
        status=0
        eval "$command" >>"$output" 2>&1 </dev/null || status=$?
        if ((status != 0)); then
            cat "$output"
            fail "$number" "this ended with status $status: $command"
        fi
        number=$((number + 1))
    done <<<"$2"
    cat "$output"
}

# expect LINE TEXT: the output of the last block.
expect() {
    local pattern
    pattern=$(sed -e 's/[^[:alnum:] …]/\\&/g' -e 's/^…$/⋮/' -e 's/…/*/g' <<<"$2")
    pattern=$'\n'$pattern$'\n'
    pattern=${pattern//$'\n⋮\n'/$'*\n'}
    [[ $'\n'$(<"$output")$'\n' == $pattern ]] || fail "$1" "this should have been printed:
$2"
}

cd "$folder/product"
line=0 opened=0 commands=0 name="" kind="" block="" before=""
while IFS= read -r text <&3 || [[ -n $text ]]; do
    line=$((line + 1))
    if ((opened == 0)); then
        if [[ $text =~ ^\*\*\`([^\`]+)\`\*\*$ ]]; then
            name=${BASH_REMATCH[1]}
        elif [[ $text == '```'* ]]; then
            opened=$line kind=${text#'```'} block=""
        elif [[ -n $text ]]; then
            [[ -z $name ]] || fail "$line" "no block follows the name $name"
            [[ $before != sh ]] || before=""
        fi
    elif [[ $text != '```' ]]; then
        block+=$text$'\n'
    else
        block=${block%$'\n'}
        if [[ -n $name ]]; then
            mkdir -p "$(dirname "$name")"
            printf '%s\n' "$block" >"$name"
            before=file
        elif [[ $kind == sh ]]; then
            run "$((opened + 1))" "$block"
            commands=$((commands + 1))
            before=sh
        elif [[ $kind == text && $before == sh ]]; then
            expect "$((opened + 1))" "$block"
            before=text
        else
            fail "$opened" "this block is no file, no commands and nothing that is printed"
        fi
        opened=0 name=""
    fi
done 3<"$page"
((opened == 0)) || fail "$opened" "this block does not end"
((commands > 0)) || fail 1 "the page has no commands"
