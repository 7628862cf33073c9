# bash completion for vandrel, vandrel-fw-download, vandrel-maplint and vandrel-rehearse

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

_vandrel_fw_download() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} number=1 path
    compopt +o default 2>/dev/null
    case "$previous" in
    -l | --image) compopt -o default; return ;;
    -t | --target) number=3 ;&
    -b | --host) # the addresses that sysfs shows; no drive is touched
        mapfile -t COMPREPLY < <(for path in /sys/class/scsi_device/*:*; do
            path=${path##*/}
            [ "$path" = '*:*' ] || cut -d: -f$number <<<"$path"
        done | sort -nu | while read -r number; do compgen -W "$number" -- "$current"; done)
        return
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "-b -t -l -n -D --host --target --image --yes --debug --help --version" -- "$current")
}
complete -F _vandrel_fw_download vandrel-fw-download fw_download
complete -F _vandrel vandrel vandrel-rehearse vandrel-maplint
