# bash completion for zelcfg: commands, options, --type's values, file names,
# and the keys and blocks of the file on the line.
# The commands and options come from `zelcfg --help`, the keys and blocks from
# `zelcfg list --null` and `blocks --null`, and whether the file is read as
# XML from the tool too (`blocks` takes no XML file), so nothing here repeats
# them or the rules that choose a file's reading.
# Plain bash only: no helper of the bash-completion package is needed.

# Prints the commands (the first word of each line of "Commands:") or the
# options (each -x or --xxx of the lines that start with one), one a line.
_zelcfg_help_words() {
    local line section=
    "$1" --help 2>/dev/null | while IFS= read -r line; do
        case $line in
            Commands:) section=commands ;;
            '') section= ;;
        esac
        if [ "$2" = commands ] && [ "$section" = commands ] &&
            [[ $line =~ ^\ \ ([a-z][a-z-]*)\  ]]; then
            echo "${BASH_REMATCH[1]}"
        elif [ "$2" = options ] && [[ $line =~ ^\ \ (-[^ ,]*(,\ -[^ ,]*)*) ]]; then
            local option
            for option in ${BASH_REMATCH[1]//,/ }; do
                echo "$option"
            done
        fi
    done | awk '!seen[$0]++'
}

# Adds to COMPREPLY each word of the remaining arguments that starts with
# CUR, quoted for the command line when it needs it.
_zelcfg_offer() {
    local cur=$1 word
    shift
    for word in "$@"; do
        if [[ $word == "$cur"* ]]; then
            [[ $word =~ [^A-Za-z0-9._/:@%+=,-] ]] && printf -v word '%q' "$word"
            COMPREPLY+=("$word")
        fi
    done
}

# Sets REPLY to WORD as the shell will pass it: COMP_WORDS holds the words as
# typed, quotes and backslashes included. Nothing is expanded (no eval).
_zelcfg_dequote() {
    local word=$1 quote='' c i
    REPLY=
    for ((i = 0; i < ${#word}; i++)); do
        c=${word:i:1}
        if [[ $quote == "'" ]]; then
            [[ $c == "'" ]] && quote= || REPLY+=$c
        elif [[ $c == '\' ]]; then
            ((++i))
            c=${word:i:1}
            # Within double quotes a backslash escapes only \ " $ and `.
            [[ $quote == '"' && $c != [\\\"\$\`] ]] && REPLY+='\'
            REPLY+=$c
        elif [[ $c == '"' ]]; then
            [[ -n $quote ]] && quote= || quote='"'
        elif [[ $c == "'" && -z $quote ]]; then
            quote="'"
        else
            REPLY+=$c
        fi
    done
}

_zelcfg() {
    local tool=${COMP_WORDS[0]} cur=${COMP_WORDS[COMP_CWORD]}
    local prev= word i ended=
    local -a operands=() mode=()
    ((COMP_CWORD > 0)) && prev=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    _zelcfg_dequote "$cur" && cur=$REPLY

    # What stands before the word: the operands, and the options that decide
    # how the file is read. A negative number is a value, not an option.
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ -z $ended && $word == -- ]]; then
            ended=1
        elif [[ -z $ended && $word == -?* && $word != -[0-9.]* ]]; then
            case $word in
                --block | --anonymous | --xml | --ini) mode+=("$word") ;;
                # bash splits --type=int at "=" (COMP_WORDBREAKS).
                --type | --wait | --index) [[ ${COMP_WORDS[i + 1]-} == = ]] && ((i++))
                                 ((i++)) ;;
            esac
        else
            _zelcfg_dequote "$word"
            operands+=("$REPLY")
        fi
    done
    if [[ $prev == = && $COMP_CWORD -gt 1 ]]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    elif [[ $cur == = ]]; then
        cur=
    fi
    if [[ -z $ended && $prev == --type ]]; then
        _zelcfg_offer "$cur" int float double bool string
        return 0
    fi
    # A number of seconds or an entry's place: nothing to offer.
    if [[ -z $ended && ($prev == --wait || $cur == --wait=* || $prev == --index || $cur == --index=*) ]]; then
        return 0
    fi

    if [[ -z $ended && $cur == --type=* ]]; then
        _zelcfg_offer "${cur#--type=}" int float double bool string
        COMPREPLY=("${COMPREPLY[@]/#/--type=}")
        return 0
    fi
    if [[ -z $ended && $cur == -* && $cur != -[0-9.]* ]]; then
        local -a options
        mapfile -t options < <(_zelcfg_help_words "$tool" options)
        _zelcfg_offer "$cur" "${options[@]}"
        return 0
    fi

    local command=${operands[0]-} file=${operands[1]-}
    [[ $file == "~/"* ]] && file=$HOME/${file#"~/"}
    case ${#operands[@]} in
        0)
            local -a commands
            mapfile -t commands < <(_zelcfg_help_words "$tool" commands)
            _zelcfg_offer "$cur" "${commands[@]}"
            ;;
        1)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            ;;
        2 | 3)
            local -a names=()
            local block entry value
            if [[ $command == remove-block && ${#operands[@]} == 2 ]]; then
                mapfile -d '' -t names < <("$tool" blocks --null "${mode[@]}" -- "$file" </dev/null 2>/dev/null)
            elif [[ $command != get && $command != set && $command != unset ]]; then
                :
            elif [[ " ${mode[*]} " == *" --xml "* ]] || { ((${#mode[@]} == 0)) &&
                    ! "$tool" blocks -- "$file" </dev/null >/dev/null 2>&1; }; then
                # Read as XML, by --xml or as the tool chooses for the file
                # (it refuses `blocks` of an XML file; one it cannot read
                # lists nothing either way): a KEY and its VALUE for each
                # entry; nothing after the KEY.
                if ((${#operands[@]} == 2)); then
                    while IFS= read -r -d '' entry && IFS= read -r -d '' value; do
                        names+=("$entry")
                    done < <("$tool" list --null "${mode[@]}" -- "$file" </dev/null 2>/dev/null)
                fi
            else
                # KEY, BLOCK.ENTRY (ENTRY alone with --anonymous; .ENTRY
                # above an INI file's first header); a block whose name holds
                # "." no key reaches: offer the block, then its entries as
                # the next operand.
                while IFS= read -r -d '' block && IFS= read -r -d '' entry &&
                    IFS= read -r -d '' value; do
                    if ((${#operands[@]} == 3)); then
                        [[ $block == "${operands[2]}" ]] && names+=("$entry")
                    elif [[ $block == *.* ]]; then
                        names+=("$block")
                    elif [[ " ${mode[*]} " == *" --anonymous "* ]]; then
                        names+=("$entry")
                    else
                        names+=("$block.$entry")
                    fi
                done < <("$tool" list --null "${mode[@]}" -- "$file" </dev/null 2>/dev/null)
            fi
            mapfile -t names < <(printf '%s\n' "${names[@]}" | awk 'length && !seen[$0]++')
            _zelcfg_offer "$cur" "${names[@]}"
            ;;
    esac
    return 0
}

complete -F _zelcfg zelcfg
