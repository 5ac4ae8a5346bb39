# shellcheck shell=bash
# Completion of azsbackup for bash.

_azsbackup() {
  local cur prev words cword
  _init_completion || return

  local output='--help --json --verbose --log-file'
  local azure_stack='--server --config --credentials --user --password-file --password-command --plugin'
  local repository='--repo --repo-password-file --repo-password-command'
  local -A options=(
    [check]="$output $azure_stack"
    [discover]="$output $azure_stack --keep --snapshots"
    [backup]="$output $azure_stack $repository --jobs --workload --retry-lock --init --json-lines"
    [finish]="$output $azure_stack --snapshot"
    [snapshots]="$output $azure_stack --sweep"
    [list]="$output $repository --backup"
    [show]="$output $repository --backup"
    [verify]="$output $repository --backup"
    [report]="$output $repository --html --stale-after --runs"
    [prune]="$output $repository --keep-last --keep-daily --keep-weekly --keep-monthly --keep-within --retired --leftover-age
      --dry-run"
    [restore]="$output $azure_stack $repository --set --as --to --disks-only --dry-run"
    [export]="$output $repository"
  )
  local changes='Size= Vnet= Subnet= Nsg= RgName= SubId= VmName= PowerState= StagingStorageAccount= BootDiagnostics=
    DiskRg= DiskType= StorageAccount= Container='
  local command=${words[1]}

  case $prev in
    --config | --credentials | --password-file | --plugin | --log-file | --repo-password-file | --workload | --html)
      _filedir
      return
      ;;
    --repo | --keep)
      _filedir -d
      return
      ;;
    --set)
      mapfile -t COMPREPLY < <(compgen -W "$changes" -- "$cur")
      compopt -o nospace
      return
      ;;
    --password-command | --repo-password-command)
      mapfile -t COMPREPLY < <(compgen -c -- "$cur")
      return
      ;;
    --server | --user | --jobs | --retry-lock | --snapshot | --backup | --as | --to | --keep-* | --retired | --leftover-age | --stale-after | --runs) return ;;
  esac

  if ((cword == 1)); then
    mapfile -t COMPREPLY < <(compgen -W "${!options[*]} --help --version" -- "$cur")
  elif [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${options[$command]-}" -- "$cur")
  elif [[ $command == export ]]; then
    _filedir
  fi
}

complete -F _azsbackup azsbackup
