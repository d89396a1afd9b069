# For pip: the source distribution, and wheels for the Pythons at hand. They have a folder of their own, since pip's source
# distribution has the name of the source archive.
script/python --sdist
script/python --wheel
wheels=$packages/python
rm -rf "$wheels"
mkdir -p "$wheels"
cp build/python/dist/bravic-"$version".tar.gz build/python/dist/bravic-"$version"-*.whl "$wheels" ||
  { echo "script/package: the Python package cannot be made here" >&2; exit 3; }
report "$wheels"/*

# As a user has them: by the wheel where there is nothing but Python, then by the source distribution with what that needs.
fresh_root python
mkdir -p "$work/try"
cp -r "$wheels" examples/nets "$work/try"
cat >"$work/try/try.py" <<'EOF'
import bravic
net = bravic.read("nets/chest_clinic.dne")
net.enter(XRay="abnormal")
net.save("clinic.bif")
print(bravic.__version__, net["Tuberculosis"].beliefs, len(bravic.read("clinic.bif").nodes))
EOF
in_root "$root" "
  set -e
  $trust
  cd '$work/try'
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends python3-venv >/var/log/install 2>&1 || { cat /var/log/install; exit 1; }
  python3 -m venv wheel
  wheel/bin/pip install -q numpy
  wheel/bin/pip install -q --no-index --find-links=python --only-binary=:all: bravic
  wheel/bin/python try.py
  apt-get install -y -qq --no-install-recommends python3-dev g++ cmake libpugixml-dev >/var/log/install 2>&1 ||
    { cat /var/log/install; exit 1; }
  python3 -m venv source
  source/bin/pip install -q python/bravic-$version.tar.gz >/var/log/source 2>&1 || { tail -40 /var/log/source; exit 1; }
  source/bin/python try.py
" "$work/try"
