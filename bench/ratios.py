#!/usr/bin/env python3
"""Runs a benchmark binary and prints qel3's speed as a ratio to its peer, per file.

Speeds are MB/s, or thousands of items per second for benchmarks that count items.

usage: bench/ratios.py BINARY [PAIR ...]   where PAIR is qel_name:peer_name
"""
import json
import subprocess
import sys

DEFAULT_PAIRS = [
    ("lzm_compress", "lz4_compress"),
    ("lzm_decompress", "lz4_decompress"),
    ("zlib_method_compress", "zlib_raw_compress"),
    ("zlib_method_decompress", "zlib_raw_decompress"),
]


def size_ratio(result):
    """The "ratio" counter (compressed size / original size), or "-" for benchmarks without one."""
    return f"{result['ratio']:.3f}" if "ratio" in result else "-"


def main():
    binary = sys.argv[1]
    pairs = [tuple(p.split(":")) for p in sys.argv[2:]] or DEFAULT_PAIRS
    # Medians of interleaved repetitions: this kind of machine is noisy.
    run = subprocess.run([binary, "--benchmark_format=json", "--benchmark_min_time=0.3",
                          "--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true",
                          "--benchmark_report_aggregates_only=true"],
                         check=True, capture_output=True, text=True)
    results = {b["run_name"]: b for b in json.loads(run.stdout)["benchmarks"]
               if b.get("aggregate_name") == "median"}
    items = any("items_per_second" in r for r in results.values())
    unit = "k items/s" if items else "MB/s"
    print(f"| qel3 | peer | file | qel3 {unit} | peer {unit} | speed ratio | qel3 size ratio | peer size ratio |")
    print("|---|---|---|---|---|---|---|---|")
    for ours, peer in pairs:
        for name, ours_result in results.items():
            if not name.startswith(ours + "/"):
                continue
            file = name.split("/", 1)[1]
            peer_result = results.get(peer + "/" + file)
            if not peer_result:
                continue
            key, scale = ("items_per_second", 1e3) if items else ("bytes_per_second", 1e6)
            ours_speed = ours_result[key] / scale
            peer_speed = peer_result[key] / scale
            print(f"| {ours} | {peer} | {file} | {ours_speed:.0f} | {peer_speed:.0f} | "
                  f"{ours_speed / peer_speed:.2f} | {size_ratio(ours_result)} | {size_ratio(peer_result)} |")


if __name__ == "__main__":
    main()
