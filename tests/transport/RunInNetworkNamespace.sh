#!/usr/bin/env bash
# Runs a test program inside a network namespace of its own, with only a loopback device that
# carries the virtual producer's interface addresses and a route to the network behind its
# router. Discovery traffic therefore never reaches the machine's real interfaces.
# Usage: RunInNetworkNamespace.sh PROGRAM [ARGUMENTS...]. Exits 77 (skipped) where namespaces
# cannot be made (not root, no iproute2).
set -u
namespace="vireo-test-$$"
if [ "$(id -u)" -ne 0 ] || ! command -v ip >/dev/null || ! ip netns add "$namespace" 2>/dev/null; then
  echo "network namespaces are not available here: skipped"
  exit 77
fi
trap 'ip netns delete "$namespace"' EXIT
inside() { ip netns exec "$namespace" "$@"; }
inside ip link set lo up
inside ip addr add 192.168.10.1/24 dev lo
inside ip addr add 192.168.20.1/24 dev lo
inside ip route add 10.0.0.0/24 dev lo src 192.168.10.1
VIREO_TEST_NETWORK_NAMESPACE="$namespace" inside "$@"
