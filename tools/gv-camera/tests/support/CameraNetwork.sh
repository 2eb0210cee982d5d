#!/usr/bin/env bash
# Runs a test program on a private two-sided network: a "host" namespace where the program
# runs and a "camera" namespace where it starts the device server, joined by a veth pair
# with a jumbo MTU. Camera traffic, broadcasts included, never reaches the machine's real
# interfaces, and everything is removed when the program ends, however it ends.
#
#   host namespace   vireo-host  10.42.0.1/24
#   camera namespace vireo-cam   10.42.0.11 ... 10.42.0.19/24 (one address per camera)
#
# The program sees VIREO_TEST_NETWORK_NAMESPACE, VIREO_CAMERA_NAMESPACE, VIREO_HOST_ADDRESS,
# VIREO_HOST_INTERFACE, VIREO_CAMERA_INTERFACE and VIREO_CAMERA_ADDRESSES (space-separated),
# and starts the server with: ip netns exec "$VIREO_CAMERA_NAMESPACE" PROGRAM ...
#
# Usage: CameraNetwork.sh PROGRAM [ARGUMENTS...]; exits with the program's status, or 77
# (skipped) where namespaces cannot be made (not root, no iproute2, no veth support).
set -u

if [ "$#" -eq 0 ]; then
  echo "usage: $0 PROGRAM [ARGUMENTS...]" >&2
  exit 2
fi

host_namespace="vireo-gv-host-$$"
camera_namespace="vireo-gv-camera-$$"
host_interface="vireo-host"
camera_interface="vireo-cam"
host_address="10.42.0.1"
camera_addresses="10.42.0.11 10.42.0.12 10.42.0.13 10.42.0.14 10.42.0.15 10.42.0.16 10.42.0.17 10.42.0.18 10.42.0.19"

skip() {
  echo "camera network not available here ($1): skipped"
  exit 77
}

[ "$(id -u)" -eq 0 ] || skip "not root"
command -v ip >/dev/null || skip "no iproute2"

# Processes the program left behind in either namespace (a server it did not stop) would keep
# the namespace's sockets alive; they are ours, so they are stopped by id before the
# namespaces go.
stop_leftovers() {
  local namespace="$1" pids
  pids=$(ip netns pids "$namespace" 2>/dev/null) || return 0
  [ -n "$pids" ] || return 0
  # shellcheck disable=SC2086
  kill -TERM $pids 2>/dev/null
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    pids=$(ip netns pids "$namespace" 2>/dev/null)
    [ -n "$pids" ] || return 0
    sleep 0.1
  done
  # shellcheck disable=SC2086
  kill -KILL $pids 2>/dev/null
}

cleanup() {
  for namespace in "$camera_namespace" "$host_namespace"; do
    if [ -e "/var/run/netns/$namespace" ]; then
      stop_leftovers "$namespace"
      ip netns delete "$namespace" 2>/dev/null
    fi
  done
}
child=""
# A signal must not wait for the program to end on its own: stop it, then clean up.
interrupted() {
  [ -n "$child" ] && kill -TERM "$child" 2>/dev/null
  exit "$1"
}
trap cleanup EXIT
trap 'interrupted 130' INT
trap 'interrupted 143' TERM

ip netns add "$host_namespace" 2>/dev/null || skip "ip netns add failed"
ip netns add "$camera_namespace" 2>/dev/null || skip "ip netns add failed"

# Created directly inside the namespaces, so the fixed interface names never clash with the
# machine's own or with another run's.
ip link add name "$host_interface" netns "$host_namespace" mtu 9000 type veth \
  peer name "$camera_interface" netns "$camera_namespace" mtu 9000 2>/dev/null || skip "no veth pair"

in_host() { ip netns exec "$host_namespace" "$@"; }
in_camera() { ip netns exec "$camera_namespace" "$@"; }

set -e
in_host ip link set lo up
in_camera ip link set lo up
in_host ip addr add "$host_address/24" broadcast 10.42.0.255 dev "$host_interface"
for address in $camera_addresses; do
  in_camera ip addr add "$address/24" broadcast 10.42.0.255 dev "$camera_interface"
done
in_host ip link set "$host_interface" up
in_camera ip link set "$camera_interface" up
# Without a default route a limited broadcast (255.255.255.255) from a socket that is not
# bound to the interface's address has no way out; a host on a camera network has one.
in_host ip route add default dev "$host_interface"
in_camera ip route add default dev "$camera_interface"
# The veth link needs a moment before the first datagram passes (carrier and IPv6 DAD
# do not matter here; the link state does).
for _ in $(seq 1 50); do
  if in_host ip link show "$host_interface" | grep -q "state UP" &&
     in_camera ip link show "$camera_interface" | grep -q "state UP"; then
    break
  fi
  sleep 0.1
done
set +e

VIREO_TEST_NETWORK_NAMESPACE="$host_namespace" \
VIREO_CAMERA_NAMESPACE="$camera_namespace" \
VIREO_HOST_ADDRESS="$host_address" \
VIREO_HOST_INTERFACE="$host_interface" \
VIREO_CAMERA_INTERFACE="$camera_interface" \
VIREO_CAMERA_ADDRESSES="$camera_addresses" \
  in_host "$@" &
child=$!
# In the background and waited for, so that the traps run as soon as a signal arrives.
wait "$child"
exit $?
