# bash completion for vandrel, vandrel-maplint and vandrel-rehearse

_vandrel() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    compopt +o default 2>/dev/null
    case "$previous" in
    -M) compopt -o default; return ;;
    -R | --dir) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    # No drives: to list them sends commands to them, and takes the place of the last run's diagnostics.
    --targets) mapfile -t COMPREPLY < <(compgen -W ALL -- "$current"); return ;;
    esac
    local options="-A -M -R -V -f -h -k -l -n -v --list --targets --nocheck"
    case "${COMP_WORDS[0]##*/}" in
    vandrel-rehearse) options="--dir --power-cycle --without $options" ;;
    vandrel-maplint) options="-R -h -n" ;;
    esac
    case "$current" in
    -*) mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current") ;;
    *) [ "${COMP_WORDS[0]##*/}" = vandrel ] || compopt -o default ;;
    esac
}
complete -F _vandrel vandrel vandrel-rehearse vandrel-maplint
