# Writes `source` to `target`, with the parts from the directory `parts` in the places of their names.
file(READ ${parts}/options.scd OPTIONS)
file(READ ${parts}/keys.scd KEYS)
configure_file(${source} ${target} @ONLY)
