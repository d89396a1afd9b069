# For npm: the tarball that script/js packs.
rm -f build/js/bravic-*.tgz
script/js --pack
[ -e "build/js/bravic-$version.tgz" ] || { echo "script/package: the npm package cannot be made here" >&2; exit 3; }
cp "build/js/bravic-$version.tgz" "$packages"
report "$packages/bravic-$version.tgz"

# As a user has it, with Debian's Node.
fresh_root npm
mkdir -p "$work/host"
cp "$packages/bravic-$version.tgz" examples/nets/chest_clinic.dne "$work/host"
echo '{ "name": "host", "private": true, "type": "module" }' >"$work/host/package.json"
cat >"$work/host/host.ts" <<'EOF'
import { load, type Net } from "bravic";
import { readFileSync } from "node:fs";
const net: Net = (await load()).read(readFileSync("chest_clinic.dne"), "chest_clinic.dne");
net.enter("XRay", "abnormal");
const beliefs: ArrayLike<number> = net.beliefs("Tuberculosis");
console.log(net.name, Array.from(beliefs));
EOF
in_root "$root" "
  set -e
  $trust
  cd '$work/host'
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends nodejs npm >/var/log/install 2>&1 || { cat /var/log/install; exit 1; }
  node --version
  npm install --no-audit --no-fund bravic-$version.tgz
  node --input-type=module -e 'import { load } from \"bravic\"; import { readFileSync } from \"node:fs\";
    const net = (await load()).read(readFileSync(\"chest_clinic.dne\")); console.log(net.beliefs(\"Tuberculosis\"));'
  npm install --no-audit --no-fund --save-dev typescript@5.9.3 @types/node@20.19.43
  npx tsc --strict --target ES2022 --module NodeNext --moduleResolution NodeNext host.ts
  node host.js
" "$work/host"
