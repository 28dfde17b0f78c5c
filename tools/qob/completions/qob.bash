# bash completion for qob, made from its table of commands
_qob() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=${COMP_WORDS[1]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W '--help --version parse extract header build send bounce dsn notice sendlog address date word binhex uudecode init config jis magic peer ban queue channel' -- "$word"))
    return
  fi
  case "$command" in
    word)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'encode decode' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    binhex)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'encode decode' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    jis)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'encode decode check' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    dsn)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'send parse' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    config)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'show get set check' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    magic)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'list find add update remove import export' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    peer)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'list get set remove explain' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    ban)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'list add remove check' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    channel)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'list show drain' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
    queue)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'list show stats shape recipients reasons watch retry hold release remove move lock unlock check' -- "$word"))
        return
      fi
      command+=" ${COMP_WORDS[2]}"
      ;;
  esac
  case "$command" in
    'parse')
      case "$before" in
        --color) COMPREPLY=($(compgen -W 'auto always never' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--json -r --recursive --keep-messages --plain --color -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'extract')
      case "$before" in
        -o|--output) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -p|--part) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-o --output -p --part --raw --force --json -r --recursive --keep-messages --plain -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'header')
      case "$before" in
        -p|--part) COMPREPLY=(); return ;;
        --color) COMPREPLY=($(compgen -W 'auto always never' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-d --decoded -p --part --json -r --recursive --color -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'build')
      case "$before" in
        --from) COMPREPLY=(); return ;;
        --to) COMPREPLY=(); return ;;
        --cc) COMPREPLY=(); return ;;
        --bcc) COMPREPLY=(); return ;;
        -s|--subject) COMPREPLY=(); return ;;
        --header) COMPREPLY=(); return ;;
        --body) COMPREPLY=($(compgen -f -- "$word")); return ;;
        --text) COMPREPLY=(); return ;;
        --type) COMPREPLY=(); return ;;
        --charset) COMPREPLY=(); return ;;
        --text-charset) COMPREPLY=(); return ;;
        --encoding) COMPREPLY=(); return ;;
        -a|--attach) COMPREPLY=($(compgen -f -- "$word")); return ;;
        --part) COMPREPLY=(); return ;;
        --multipart) COMPREPLY=(); return ;;
        -o|--output) COMPREPLY=($(compgen -f -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--from --to --cc --bcc -s --subject --header --body --text --no-body --type --charset --text-charset --encoding -a --attach --part --multipart --raw -o --output --force -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'send')
      case "$before" in
        -f|--sender) COMPREPLY=(); return ;;
        -F|--full-name) COMPREPLY=(); return ;;
        -N|--notify) COMPREPLY=(); return ;;
        -R|--return) COMPREPLY=($(compgen -W 'full hdrs' -- "$word")); return ;;
        -V|--envid) COMPREPLY=(); return ;;
        --orcpt) COMPREPLY=(); return ;;
        --channel) COMPREPLY=(); return ;;
        --message) COMPREPLY=($(compgen -f -- "$word")); return ;;
        --from) COMPREPLY=(); return ;;
        --to) COMPREPLY=(); return ;;
        --cc) COMPREPLY=(); return ;;
        --bcc) COMPREPLY=(); return ;;
        -s|--subject) COMPREPLY=(); return ;;
        --header) COMPREPLY=(); return ;;
        --body) COMPREPLY=($(compgen -f -- "$word")); return ;;
        --text) COMPREPLY=(); return ;;
        --type) COMPREPLY=(); return ;;
        --charset) COMPREPLY=(); return ;;
        --text-charset) COMPREPLY=(); return ;;
        --encoding) COMPREPLY=(); return ;;
        -a|--attach) COMPREPLY=($(compgen -f -- "$word")); return ;;
        --part) COMPREPLY=(); return ;;
        --multipart) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-t --read-recipients -i --ignore-dots -f --sender -F --full-name -N --notify -R --return -V --envid --orcpt --channel --receipt --message --from --to --cc --bcc -s --subject --header --body --text --no-body --type --charset --text-charset --encoding -a --attach --part --multipart --raw --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'bounce')
      case "$before" in
        --reason) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--reason --header-only --postmaster --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'dsn send')
      case "$before" in
        --recipient) COMPREPLY=(); return ;;
        --fields) COMPREPLY=($(compgen -f -- "$word")); return ;;
        -s|--subject) COMPREPLY=(); return ;;
        --text) COMPREPLY=(); return ;;
        --body) COMPREPLY=($(compgen -f -- "$word")); return ;;
        --return) COMPREPLY=($(compgen -W 'full hdrs' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--recipient --fields -s --subject --text --body --return --postmaster --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'dsn parse')
      case "$before" in
        --color) COMPREPLY=($(compgen -W 'auto always never' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-r --recursive --json --color -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'notice')
      case "$before" in
        --from) COMPREPLY=(); return ;;
        --to) COMPREPLY=(); return ;;
        -s|--subject) COMPREPLY=(); return ;;
        --text) COMPREPLY=(); return ;;
        --body) COMPREPLY=($(compgen -f -- "$word")); return ;;
        -a|--attach) COMPREPLY=($(compgen -f -- "$word")); return ;;
        --channel) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--from --to -s --subject --text --body -a --attach --channel -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'sendlog')
      case "$before" in
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'address')
      case "$before" in
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-d --decoded --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'date')
      case "$before" in
        -f|--form) COMPREPLY=($(compgen -W 'auto rfc822 ctime' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-f --form --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'word encode')
      case "$before" in
        -c|--charset) COMPREPLY=(); return ;;
        -e|--encoding) COMPREPLY=($(compgen -W 'q b' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-c --charset -e --encoding --site --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'word decode')
      case "$before" in
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--bytes --site --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'binhex encode')
      case "$before" in
        -o|--output) COMPREPLY=($(compgen -f -- "$word")); return ;;
        -n|--name) COMPREPLY=(); return ;;
        --type) COMPREPLY=(); return ;;
        --creator) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-o --output -n --name --type --creator --force -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'binhex decode')
      case "$before" in
        -o|--output) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-o --output --applesingle --force --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'uudecode')
      case "$before" in
        -o|--output) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-o --output --force --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'init')
      case "$before" in
        --host) COMPREPLY=(); return ;;
        --domain) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--host --domain --json -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -d -- "$word"))
      fi
      ;;
    'config show')
      case "$before" in
        -f|--file) COMPREPLY=($(compgen -f -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-f --file -a --all --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'config get')
      case "$before" in
        -f|--file) COMPREPLY=($(compgen -f -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-f --file --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'config set')
      case "$before" in
        -f|--file) COMPREPLY=($(compgen -f -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-f --file -u --unset --force -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'config check')
      case "$before" in
        -f|--file) COMPREPLY=($(compgen -f -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-f --file --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'jis encode')
      case "$before" in
        -f|--from) COMPREPLY=($(compgen -W 'shift_jis utf-8' -- "$word")); return ;;
        -m|--mark) COMPREPLY=(); return ;;
        -o|--output) COMPREPLY=($(compgen -f -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-f --from -m --mark -o --output --force --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'jis decode')
      case "$before" in
        -t|--to) COMPREPLY=($(compgen -W 'shift_jis utf-8' -- "$word")); return ;;
        -o|--output) COMPREPLY=($(compgen -f -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-t --to -R --repair -o --output --force --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'jis check')
      case "$before" in
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-a --always -R --repair -n --dry-run --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'magic list')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'magic find')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-m --mac -q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'magic add')
      case "$before" in
        -e|--encoding) COMPREPLY=($(compgen -W 'base64 quoted-printable 8bit 7bit' -- "$word")); return ;;
        -m|--mac) COMPREPLY=(); return ;;
        -t|--text) COMPREPLY=(); return ;;
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-e --encoding -m --mac -t --text -q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'magic update')
      case "$before" in
        -e|--encoding) COMPREPLY=($(compgen -W 'base64 quoted-printable 8bit 7bit' -- "$word")); return ;;
        -m|--mac) COMPREPLY=(); return ;;
        -t|--text) COMPREPLY=(); return ;;
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-e --encoding -m --mac -t --text -q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'magic remove')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'magic import')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -f -- "$word"))
      fi
      ;;
    'magic export')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'peer list')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'peer get')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'peer set')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'peer remove')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'peer explain')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'ban list')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'ban add')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'ban remove')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'ban check')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue list')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -s|--sort) COMPREPLY=($(compgen -W 'id age size tries retry sender recipients status' -- "$word")); return ;;
        -l|--limit) COMPREPLY=(); return ;;
        --color) COMPREPLY=($(compgen -W 'auto always never' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -s --sort -R --reverse -l --limit -a --recipients --json --color -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue show')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue stats')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -l|--limit) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -l --limit --prometheus --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue shape')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -b|--buckets) COMPREPLY=(); return ;;
        -t|--minutes) COMPREPLY=(); return ;;
        -l|--limit) COMPREPLY=(); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -b --buckets -t --minutes --sender -l --limit --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue recipients')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -p --pending --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue reasons')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue watch')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -i|--interval) COMPREPLY=(); return ;;
        -n|--count) COMPREPLY=(); return ;;
        -s|--sort) COMPREPLY=($(compgen -W 'id age size tries retry sender recipients status' -- "$word")); return ;;
        -l|--limit) COMPREPLY=(); return ;;
        --color) COMPREPLY=($(compgen -W 'auto always never' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -i --interval -n --count -s --sort -R --reverse -l --limit --json --color -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue retry')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue hold')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue release')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue remove')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue move')
      case "$before" in
        -t|--to) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-t --to -q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue lock')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue unlock')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'queue check')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -R --repair --json -h --help' -- "$word"))
      else
        COMPREPLY=($(compgen -d -- "$word"))
      fi
      ;;
    'channel list')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue --json -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'channel show')
      case "$before" in
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -s|--sort) COMPREPLY=($(compgen -W 'id age size tries retry sender recipients status' -- "$word")); return ;;
        -l|--limit) COMPREPLY=(); return ;;
        --color) COMPREPLY=($(compgen -W 'auto always never' -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-q --queue -s --sort -R --reverse -l --limit -a --recipients --json --color -v --verbose -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
    'channel drain')
      case "$before" in
        -m|--maildir) COMPREPLY=($(compgen -d -- "$word")); return ;;
        -q|--queue) COMPREPLY=($(compgen -d -- "$word")); return ;;
      esac
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '-m --maildir --discard-marks -q --queue -y --yes -n --dry-run --json -h --help' -- "$word"))
      else
        COMPREPLY=()
      fi
      ;;
  esac
}
complete -o filenames -F _qob qob
