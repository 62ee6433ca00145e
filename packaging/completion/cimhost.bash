# Completion of cimhost's arguments in bash, for the package bash-completion. The program itself tells what fits.
# shellcheck shell=bash

_cimhost()
{
    # shellcheck disable=SC2034  # _init_completion sets them all
    local cur prev words cword line
    _init_completion -n =: || return
    COMPREPLY=()
    while IFS= read -r line; do
        case $line in
            "<files>") _filedir ;;
            "<directories>") _filedir -d ;;
            ?*) COMPREPLY+=("${line%%$'\t'*}") ;;
        esac
    done < <("${words[0]/#\~/$HOME}" complete "${words[@]:1:cword}" 2>/dev/null)
    # readline takes what stands after the = for the word.
    [[ $cur == --*=* ]] && COMPREPLY=("${COMPREPLY[@]#"${cur%%=*}="}")
    __ltrim_colon_completions "$cur"
} &&
    complete -F _cimhost cimhost
