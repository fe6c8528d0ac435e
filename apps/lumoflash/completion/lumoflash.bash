# Completion of lumoflash for bash: the program itself is asked what may stand next.
_lumoflash() {
    local cur prev words cword
    _init_completion -n =: || return
    local kind prefix endings text help answer
    COMPREPLY=()
    answer=$("${words[0]/#\~/$HOME}" __complete "${words[@]:1:cword}" 2>/dev/null) || return
    {
        IFS= read -r kind
        while IFS=$'\t' read -r text help; do
            COMPREPLY+=("$text")
        done
    } <<<"$answer"
    prefix=${kind#*$'\t'} endings=${prefix#*$'\t'} prefix=${prefix%%$'\t'*} kind=${kind%%$'\t'*}
    if [[ $kind != none ]]; then
        # bash itself puts what is left of a colon or an equals sign in front of each file.
        cur=${cur#"$prefix"}
        [[ $kind == folders ]] && _filedir -d || _filedir ${endings:+"@(${endings// /|})"}
        return
    fi
    [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[=:] ]] && compopt -o nospace
    # The same for the words: only what stands right of the last break goes in.
    local broken=${cur%"${cur##*[=:]}"} i
    for i in "${!COMPREPLY[@]}"; do
        COMPREPLY[i]=${COMPREPLY[i]#"$broken"}
    done
}
complete -F _lumoflash lumoflash
