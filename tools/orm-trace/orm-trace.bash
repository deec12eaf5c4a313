# Completion of orm-trace for bash. It offers what the tool takes at the place, and nothing where that is any text.

_orm_trace() {
    local word=${COMP_WORDS[COMP_CWORD]} words=() begun="" files=1 options="" without="" last="" n
    local valued=" --section --index --range --format --from --count --driver -o --output --lost --frequency --base \
        --file --zero --reference "
    # Bash takes NAME:VERSION@FILE apart.
    for ((n = 1; n < COMP_CWORD; ++n)); do
        if ((n > 1)) && [[ ${COMP_WORDS[n]} == [:@]* || ${COMP_WORDS[n - 1]} == *[:@] ]]; then
            words[-1]+=${COMP_WORDS[n]}
        else
            words+=("${COMP_WORDS[n]}")
        fi
    done
    if ((COMP_CWORD > 1)) && [[ $word == [:@]* || ${COMP_WORDS[COMP_CWORD - 1]} == *[:@] ]]; then
        begun=${words[-1]}${word%"${word#[:@]}"} word=${word#[:@]}
        unset "words[-1]"
    fi
    case ${words[0]:-} in
        "") options="info list dump samples verify recover create append save stamp probe --version" files=0 ;;
        info | verify) options="--json" files=$COMP_CWORD ;;
        list | probe) options="--json" ;;
        dump) options="--section --index --range --format" ;;
        samples) options="--from --count --format --driver" ;;
        recover) options="-o --output --dry-run --tail --lost --json" ;;
        create) options="--section --force --allow-duplicate" ;;
        append) options="--section --allow-duplicate" ;;
        save) options="--allow-duplicate --driver" files=2 ;;
        stamp)
            options="stm rcv" files=0
            case ${words[1]:-} in
                stm) options="--frequency --base --index --file --only-stamps --driver --json" ;;
                rcv) options="--zero --reference --file --only-stamps --driver --json" ;;
            esac
            ;;
        *) return ;;
    esac
    for ((n = 1; n < ${#words[@]}; ++n)); do
        case "${words[0]} ${words[n]}" in
            "dump --section" | "dump --index") without+=" --section --index" ;;
            "recover --dry-run") without+=" -o --output --lost" ;;
            "recover -o" | "recover --output" | "recover --lost") without+=" --dry-run" ;;
        esac
        if [[ $valued == *" ${words[n]} "* ]]; then
            if ((++n == ${#words[@]})); then last=${words[n - 1]}; fi
        elif [[ ${words[n]} != -* ]]; then
            files=$((files - 1))
        fi
    done
    options+=" --help"
    case $last in
        "") ;;
        --format) files=0 options="hex raw $([[ ${words[0]} == dump ]] && echo csv || echo dec)" ;;
        -o | --output | --lost | --driver | --file) files=1 options="" ;;
        *) files=0 options="" ;;
    esac
    if [[ $last == --section && ${words[0]} != dump && $begun == *@ ]]; then files=1; fi
    if ((files > 0)) && [[ $word != -* || -z $options ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
    fi
    for n in $without; do options=" $options " options=${options/ $n / }; done
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}
complete -o filenames -F _orm_trace orm-trace
