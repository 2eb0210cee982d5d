#!/usr/bin/env bash
# Measures what a GigE Vision stream sender offers: two network namespaces joined by a veth
# pair with jumbo frames (MTU 9000), the sender in one, the receiver in the other, each on a
# core of its own. Nothing touches the machine's own interfaces; the namespaces (and with
# them the veth pair) are removed on exit, whatever happens.
# Usage: RunGvspThroughput.sh [BENCHMARK_PROGRAM] [SECONDS_PER_CASE]
# The program defaults to the Release build's bench_gige_gvsp_throughput.
set -eu
here="$(cd "$(dirname "$0")" && pwd)"
program="${1:-$here/../../build/release/bench/gige/bench_gige_gvsp_throughput}"
seconds="${2:-3}"

if [ "$(id -u)" -ne 0 ] || ! command -v ip >/dev/null; then
  echo "needs root and iproute2 to make network namespaces" >&2
  exit 77
fi
if [ ! -x "$program" ]; then
  echo "no benchmark program at $program (build the target bench_gige_gvsp_throughput)" >&2
  exit 1
fi

sender="vireo-gvsp-tx-$$"
receiver="vireo-gvsp-rx-$$"
cleanup() {
  ip netns delete "$sender" 2>/dev/null || true
  ip netns delete "$receiver" 2>/dev/null || true
}
trap cleanup EXIT
trap 'exit 130' INT TERM

ip netns add "$sender"
ip netns add "$receiver"
# Made inside the sender's namespace, so the pair never appears among the host's devices.
ip -n "$sender" link add veth-tx type veth peer name veth-rx netns "$receiver"
ip -n "$sender" link set veth-tx mtu 9000
ip -n "$receiver" link set veth-rx mtu 9000
ip -n "$sender" addr add 10.77.0.1/24 dev veth-tx
ip -n "$receiver" addr add 10.77.0.2/24 dev veth-rx
for namespace in "$sender" "$receiver"; do ip -n "$namespace" link set lo up; done
ip -n "$sender" link set veth-tx up
ip -n "$receiver" link set veth-rx up

# Two cores when there are two; otherwise both threads share the one there is.
cores="$(nproc)"
receiver_core=$(( cores > 1 ? 1 : 0 ))
# The program enters the two namespaces itself (one socket in each) and pins its threads.
timeout $(( 3 * seconds * 3 + 30 )) "$program" --sender-netns "$sender" --receiver-netns "$receiver" \
  --source 10.77.0.1 --destination 10.77.0.2 --seconds "$seconds" \
  --sender-core 0 --receiver-core "$receiver_core"
