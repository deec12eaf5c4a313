# Completion of orm-trace for bash.

_orm_trace() {
    local word=${COMP_WORDS[COMP_CWORD]} subcommand=${COMP_WORDS[1]:-} options
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "info list dump samples verify recover create append save stamp probe
            --help --version" -- "$word")
        return
    fi
    case $subcommand in
        info | list | verify | probe) options="--json" ;;
        dump) options="--section --index --range --format" ;;
        samples) options="--from --count --format --driver" ;;
        recover) options="--output --dry-run --tail --json" ;;
        create) options="--section --force --allow-duplicate" ;;
        append) options="--section --allow-duplicate" ;;
        save) options="--allow-duplicate --driver" ;;
        stamp)
            options="--file --only-stamps --driver --json --frequency --base --index --zero --reference"
            if ((COMP_CWORD == 2)); then options="stm rcv"; fi
            ;;
    esac
    case ${COMP_WORDS[COMP_CWORD - 1]} in
        --format) options="hex dec raw csv" ;;
    esac
    if [[ $word == -* ]] || [[ $subcommand == stamp && $COMP_CWORD -eq 2 ]] ||
        [[ ${COMP_WORDS[COMP_CWORD - 1]} == --format ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--help ${options:-}" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -o filenames -F _orm_trace orm-trace
