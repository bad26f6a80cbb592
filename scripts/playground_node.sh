# Node.js for the page's tools, to be sourced in the repository's root: the system's, or, where that is too old for
# them (Debian 12 has 18), one from npm's registry, which is put into build/node.
# shellcheck shell=bash
if ! node -e 'const [major, minor] = process.versions.node.split("."); process.exit(major * 100 + Number(minor) < 2019 ? 1 : 0)'; then
  node_package=node-linux-$(node -p process.arch)@22.23.3
  mkdir -p build/node
  npm install --prefix build/node --no-save --no-audit --no-fund "$node_package"
  PATH=$PWD/build/node/node_modules/.bin:$PATH
fi
