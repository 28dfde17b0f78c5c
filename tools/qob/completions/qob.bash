# bash completion for qob, made from its table of commands
_qob() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=${COMP_WORDS[1]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W '--help --version parse extract header address date word binhex uudecode config' -- "$word"))
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
    config)
      if ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W 'show get set check' -- "$word"))
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
  esac
}
complete -o filenames -F _qob qob
