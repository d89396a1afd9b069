# Debian packages, of the source archive.
need dpkg-dev=dpkg-source
nanobind_version=3.1.0
[ -e "$packages/bravic-$version.tar.gz" ] || source packaging/source.sh
tree=$work/build/bravic-$version
mkdir -p "$tree"
cp "$packages/bravic-$version.tar.gz" "$work/build/bravic_$version.orig.tar.gz"
tar -xzf "$packages/bravic-$version.tar.gz" -C "$work/build"

python3 -m venv "$work/pip"
"$work/pip/bin/pip" -q download --no-deps --only-binary :all: -d "$work" nanobind==$nanobind_version
(cd "$work" && python3 -m zipfile -e nanobind-*.whl nanobind-wheel)
tar -C "$work/nanobind-wheel" --sort=name --mtime=@0 --owner=0 --group=0 --numeric-owner -c nanobind |
  gzip -9n >"$work/build/bravic_$version.orig-nanobind.tar.gz"
cp -r "$work/nanobind-wheel/nanobind" "$tree"
printf 'bravic (%s-1) unstable; urgency=medium\n\n  * Version %s; CHANGELOG.md says what is new.\n\n -- %s  %s\n' "$version" \
  "$version" "$(sed -n 's/^Maintainer: //p' debian/control)" "$(git log -1 --format=%cD)" >"$tree/debian/changelog"

fresh_root build
in_root "$root" "
  set -e
  apt-get update -qq
  cd '$tree'
  apt-get install -y -qq --no-install-recommends dpkg-dev fakeroot lintian >/var/log/tools 2>&1 || { cat /var/log/tools; exit 1; }
  apt-get build-dep -y -qq --no-install-recommends . >/var/log/needs 2>&1 || { tail /var/log/needs; exit 1; }
  dpkg-buildpackage -us -uc >/var/log/build 2>&1 || { tail -60 /var/log/build; exit 1; }
  grep -E 'tests passed|tests failed' /var/log/build
  lintian --fail-on error --allow-root ../*.changes
" "$work/build"
cp "$work/build"/*.deb "$work/build"/*.dsc "$work/build"/*.debian.tar.xz "$packages"
report "$packages"/*_"$version"-1_*.deb

# As a user who has none of the tools: install, look at a net, compile the example, use Python, and take all away.
fresh_root try
mkdir -p "$work/try"
cp "$work/build"/*.deb examples/hello.c "$work/try"
cp -r examples/nets "$work/try"
in_root "$root" "
  set -e
  apt-get update -qq
  cd '$work/try'
  find / -xdev -path /proc -prune -o -path /var -prune -o -print | sort >/var/before
  apt-get install -y -qq --no-install-recommends ./libbravic1_*.deb ./libbravic-dev_*.deb ./bravic_*.deb ./python3-bravic_*.deb gcc \
    libc6-dev pkg-config >/var/log/install 2>&1 || { cat /var/log/install; exit 1; }
  bravic --version
  bravic beliefs nets/chest_clinic.dne --finding XRay=abnormal --node Tuberculosis
  gcc hello.c \$(pkg-config --cflags --libs bravic) -o hello
  ./hello | tail -3
  python3 -c 'import bravic
net = bravic.read(\"nets/chest_clinic.dne\")
print(bravic.__version__, net[\"Tuberculosis\"].beliefs)'
  apt-get purge -y -qq --autoremove libbravic1 libbravic-dev bravic python3-bravic >/var/log/purge 2>&1 || { cat /var/log/purge; exit 1; }
  ! find / -xdev -path /proc -prune -o -iname '*bravic*' -not -path '/var/*' -not -path '$work*' -print | grep . ||
    { echo 'this is left of the packages'; exit 1; }
" "$work/try"
