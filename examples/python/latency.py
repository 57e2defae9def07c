"""Measures how long a slow register of a simulated device takes to answer, and plots it.

Usage: latency.py [IMAGE]

Without matplotlib, or without IMAGE, it prints a histogram. A real device takes the place of the
server: give its host and port to AsyncClient.tcp().
"""

import asyncio
import random
import sys

from korvinpackage import (
    AsyncClient,
    DeviceServer,
    Fault,
    FaultKind,
    PackageRequestReadData,
    SimulatedDevice,
)

REGISTER = 0x0A000010
READS = 200


def slow_device() -> SimulatedDevice:
    """Make a device whose register takes 5 to 25 ms, most often about 10."""
    device = SimulatedDevice()
    device.set_block(REGISTER, b"\x01\xff\x10")
    draw = random.Random(1)
    device.script_faults(
        Fault(FaultKind.DELAY, delay=draw.triangular(0.005, 0.025, 0.010)) for _ in range(READS)
    )
    return device


async def measure() -> list[float]:
    """Return the latencies of all reads in milliseconds."""
    latencies = []
    async with await DeviceServer.tcp(slow_device()) as server:
        async with await AsyncClient.tcp("127.0.0.1", server.port) as client:
            for _ in range(READS):
                read = PackageRequestReadData(
                    reply_data_length=3, high_addr=REGISTER >> 16, low_addr=REGISTER & 0xFFFF
                )
                result = await client.exchange(read)
                if not result:
                    sys.exit(f"latency: {result}")
                latencies.append(1000 * result.latency)
    return latencies


def show(latencies: list[float]) -> None:
    """Print a histogram with steps of 2 ms."""
    for least in range(0, 30, 2):
        count = sum(least <= latency < least + 2 for latency in latencies)
        print(f"{least:3} ms {'#' * count}")
    print(f"{len(latencies)} reads, median {sorted(latencies)[len(latencies) // 2]:.1f} ms")


def plot(latencies: list[float], image: str) -> None:
    """Draw the latencies, in the order of the reads and as a histogram."""
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, (above, below) = pyplot.subplots(2, 1, figsize=(8, 6))
    above.plot(latencies, ".")
    above.set(xlabel="read", ylabel="latency in ms")
    below.hist(latencies, bins=30)
    below.set(xlabel="latency in ms", ylabel="reads")
    figure.tight_layout()
    figure.savefig(image)


def main() -> None:
    """Measure, then plot or print."""
    latencies = asyncio.run(measure())
    if len(sys.argv) < 2:
        show(latencies)
        return
    try:
        plot(latencies, sys.argv[1])
    except ImportError:
        print("matplotlib is not installed", file=sys.stderr)
        show(latencies)


if __name__ == "__main__":
    main()
