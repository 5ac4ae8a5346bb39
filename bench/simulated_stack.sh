# shellcheck shell=bash
# For the scripts here: a simulated Azure Stack with its blob server and a repository's password, in a folder that goes
# with the script. Sets folder and subscription.
folder=$(mktemp -d)
processes=()

end() {
  local process
  for process in "${processes[@]}"; do
    kill "$process" 2>/dev/null || true
    wait "$process" 2>/dev/null || true
  done
  rm -rf "$folder"
}
trap end EXIT

await() {
  local tenth
  for ((tenth = 0; tenth < 1200; ++tenth)); do
    [ ! -s "$1" ] || return 0
    sleep 0.1
  done
  return 1
}
fact() { sed -n "s/^$1=//p" "$folder/ready"; }
median() { sort -n | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'; }

# start_stack MACHINES: in one subscription and group, of one small disk each, half of them managed.
start_stack() {
  local world=(--generate "1,1,$1,0")
  (umask 077 && build/bin/azurestack-sim "${world[@]}" --blob-accounts >"$folder/accounts" &&
    echo bench >"$folder/password")
  azurite/serve.mjs --location "$folder/blobs" --accounts-file "$folder/accounts" --ready-file "$folder/blob-ready" \
    >"$folder/blobs.log" &
  processes+=($!)
  await "$folder/blob-ready"
  build/bin/azurestack-sim "${world[@]}" --blob-port "$(sed -n 's/^port=//p' "$folder/blob-ready")" \
    --tls-dir "$folder/tls" --ready-file "$folder/ready" --write-client-files "$folder/client" >"$folder/sim.log" 2>&1 &
  processes+=($!)
  await "$folder/ready"
  # shellcheck disable=SC2034 # whoever sources this uses it
  subscription=$(curl --silent --cacert "$folder/tls/ca.pem" "https://localhost:$(fact port)/_sim/state" |
    jq -r '.machines[0].id | split("/")[2]')
}
