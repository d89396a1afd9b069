# Zip files for Windows, of what the tests under Wine have gone over.
for bits in 32 64; do
  zip=$packages/bravic-$version-windows-$bits.zip
  option=() && [ $bits = 32 ] || option=(--x64)
  script/windows "${option[@]}" --zip "$zip"
  report "$zip"
done
