# Writes the package manifest: one line a file, "name<TAB>size<TAB>sha256", sorted by name.
# Run as: cmake -DFOLDER=... -DNAMES=a,b -DOUTPUT=... -P Manifest.cmake
string(REPLACE "," ";" NAMES "${NAMES}")
list(SORT NAMES)
set(text "")
foreach(name IN LISTS NAMES)
    file(SIZE ${FOLDER}/${name} size)
    file(SHA256 ${FOLDER}/${name} hash)
    string(APPEND text "${name}\t${size}\t${hash}\n")
endforeach()
file(WRITE ${OUTPUT}.tmp "${text}")
file(RENAME ${OUTPUT}.tmp ${OUTPUT})
