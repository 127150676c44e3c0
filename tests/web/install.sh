#!/usr/bin/env bash
# Installs what the tests of the web page need from npm, in the versions of package-lock.json, into node_modules.
set -euo pipefail
cd "$(dirname "$0")"

# What npm has installed last is written down there.
if [[ node_modules/.package-lock.json -nt package-lock.json ]]; then
  echo "The npm packages of the web page's tests are installed."
  exit 0
fi
npm ci --no-audit --no-fund --ignore-scripts
