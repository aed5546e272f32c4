# SPDX-License-Identifier: Apache-2.0
# bash completion for dorvctl(1).
#
# The program knows what can follow: messages, fields, ports of the running node. The line is split at blanks here, as
# the shell would split it at '=' and ':' too.

_dorvctl()
{
    local line=${COMP_LINE:0:COMP_POINT} program=${1/#'~/'/"$HOME/"} words word breaks split
    read -ra words <<<"$line"
    [[ $line == *[[:space:]] ]] && words+=("")
    COMPREPLY=()
    ((${#words[@]} > 1)) || return
    word=${words[-1]}
    if [[ (${words[1]} == apply && ${#words[@]} -gt 2 && $word != -*) || ${words[-2]} == --file ]]; then
        compopt -o default
        return
    fi
    mapfile -t COMPREPLY < <("$program" complete "${words[@]:1}" 2>/dev/null)
    # Only what stands behind the last break is replaced.
    breaks=${COMP_WORDBREAKS//[^=:]/}
    if [[ -n $breaks ]]; then
        split=${word%"${word##*["$breaks"]}"}
        COMPREPLY=("${COMPREPLY[@]#"$split"}")
    fi
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *= ]]; then
        compopt -o nospace
    fi
}

complete -F _dorvctl dorvctl
