# SPDX-License-Identifier: Apache-2.0
# Completion of canlog's command line in bash. Subcommands, options and their values are asked of canlog itself.

_canlog()
{
    local canlog=$1 current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words=
    COMPREPLY=()
    # "--type=NAME" comes as three words, or while NAME is not begun as two.
    if [ "$previous" = "=" ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    elif [ "$current" = "=" ]; then
        current=
    fi
    if [ "$COMP_CWORD" -eq 1 ]; then
        words="--help --version $("$canlog" --help 2>/dev/null | sed -n 's/^  \([a-z][a-z]*\)  .*/\1/p')"
    elif [ "$previous" = --type ]; then
        words="auto $("$canlog" formats 2>/dev/null | awk 'NR > 1 { print $2; if ($3 !~ /^[.]/) print $3 }')"
    elif [ "${COMP_WORDS[1]}" = convert ] && [ "$previous" = --to ]; then
        words=$("$canlog" convert --help 2>/dev/null | sed -n '/^Formats/,/^[^F ]/s/^  \([a-z]*\)  .*/\1/p')
    elif [ "$previous" = --direction ]; then
        words=$("$canlog" "${COMP_WORDS[1]}" --help 2>/dev/null | sed -n 's/^.*--direction <\([a-z|]*\)>.*/\1/p')
        words=${words//|/ }
    elif [ "$previous" = --store ]; then
        COMPREPLY=($(compgen -d -- "$current"))
        return
    elif [ "${current#-}" != "$current" ]; then
        words=$("$canlog" "${COMP_WORDS[1]}" --help 2>/dev/null |
            sed -n 's/^  \(-[a-z], \)\{0,1\}\(--[a-z][a-z-]*\).*/\2/p')
    fi
    # Without words, bash offers file names.
    [ -z "$words" ] || COMPREPLY=($(compgen -W "$words" -- "$current"))
}

complete -o default -F _canlog canlog
