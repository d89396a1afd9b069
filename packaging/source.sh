# The source archive: what is committed, the same bytes each time.
source_archive=$packages/bravic-$version.tar.gz
git archive --format=tar --prefix="bravic-$version/" HEAD | gzip -9n >"$source_archive"
report "$source_archive"
