#compdef dorvctl
# SPDX-License-Identifier: Apache-2.0
# zsh completion for dorvctl(1).
#
# The program knows what can follow: messages, fields, ports of the running node.

_dorvctl()
{
    local program=${words[1]/#\~\//$HOME/}
    local -a before list open
    ((CURRENT > 2)) && before=("${(@Q)words[2,CURRENT-1]}")
    if [[ ($before[1] == apply && $PREFIX != -*) || $before[-1] == --file ]]; then
        _files
        return
    fi
    list=(${(f)"$("$program" complete "${before[@]}" "${(Q)PREFIX}" 2>/dev/null)"})
    open=(${(M)list:#*=}) # a value is to follow
    list=(${list:#*=})
    compadd -S '' -a open
    compadd -a list
    (($#list + $#open))
}

_dorvctl "$@"
