# Completion of wbx-decode for bash.

_wbx_decode() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  case $previous in
    -f | --format)
      mapfile -t COMPREPLY < <(compgen -W "png ppm pgm pnm pam raw" -- "$current")
      return
      ;;
    -d | --directory | -m | --metadata)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
      ;;
    -o | --options)
      compopt -o nospace
      mapfile -t COMPREPLY < <(compgen -W "bitmap bpp= comp_order= mul_by_alpha nomct res_level= video=" \
        -- "$current")
      return
      ;;
    -r | --reduce | -t | --tiles | --fit | --region | --max-pixels | --jobs | --png-level) return ;;
  esac
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "--directory --fit --format --help --indices --info --jobs --json
      --log --max-pixels --metadata --options --png-level --progress --quiet --reduce --region --tiles
      --version" -- "$current")
  else
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _wbx_decode wbx-decode
