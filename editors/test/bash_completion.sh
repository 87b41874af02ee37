#!/usr/bin/env bash
# Sources the bash completion of brisk in a plain bash (no bash-completion
# package needed) and calls it as bash would, with COMP_WORDS and
# COMP_CWORD set, in a directory of known files.
#
# Usage: bash_completion.sh [COMPLETION_FILE]
set -u
completion=$(realpath "${1:-$(dirname "$0")/../bash-completion/brisk}")
# shellcheck source=../bash-completion/brisk
source "$completion"
[[ $(complete -p brisk) == "complete -F _brisk brisk" ]] || { echo "brisk has no completion"; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir -p incdir/docs sub/inner
touch a.conf b.brisk notes.txt "my setup.conf" sub/x.conf incdir/readme

failures=0
# check EXPECTED WORD...: completing the last word gives EXPECTED, the
# candidates sorted and joined by "|".
check() {
    local want=$1
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMP_LINE="$*"
    COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _brisk brisk "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD-1]}"
    local got
    got=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd '|')
    if [[ $got != "$want" ]]; then
        echo "brisk ${*:2}<TAB>: got '$got', expected '$want'"
        failures=$((failures + 1))
    fi
}

# Options.
check '-D|-I|-M|-d|-o|-s'             brisk -
check '-d'                             brisk -d
check '-D|-I|-M|-d|-o|-s'             brisk -o out.mk -d tl a.conf -
# Debug letters: the ones not typed yet, after the typed ones.
check 'S|e|i|l|s|t'                    brisk -d ''
check 'tS|te|ti|tl|ts'                 brisk -d t
check 'eilsSt'                         brisk -d eilsSt
check '-dtS|-dte|-dti|-dtl|-dts'       brisk -dt
# -D takes a name of the user's.
check ''                               brisk -D ''
check ''                               brisk -DDEBUG
# -I directories, -M and -o files, -o also standard output.
check 'incdir|sub'                     brisk -I ''
check 'sub/inner'                      brisk -I sub/
check '-Iincdir'                       brisk -Iin
check '-|a.conf|b.brisk|incdir|my setup.conf|notes.txt|sub'  brisk -o ''
check 'notes.txt'                      brisk -M n
check '-onotes.txt'                    brisk -on
# -s: a separator character.
check ',|:|\;'                         brisk -s ''
# Configuration files and directories, also after other options; any file
# where there is no configuration file.
check 'a.conf|b.brisk|incdir|my setup.conf|sub'  brisk ''
check 'a.conf|b.brisk|incdir|my setup.conf|sub'  brisk -I incdir -d t ''
check 'sub/inner|sub/x.conf'           brisk sub/
check 'incdir/docs|incdir/readme'      brisk incdir/

if ((failures)); then
    echo "$failures completion checks failed"
    exit 1
fi
echo "completion checks passed"
