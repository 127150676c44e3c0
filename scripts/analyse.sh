#!/usr/bin/env bash
# Static analysis of the daemon and the simulator with clang-tidy and cppcheck: fails, naming the places, when there are
# findings. Which checks there are, and why some are off, is in .clang-tidy, sim/.clang-tidy and
# scripts/cppcheck-suppressions.txt. What was without findings and has not changed is not looked at again.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
exec scripts/analyse.py build/release app freetype graphics hw sim
