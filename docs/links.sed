#!/usr/bin/sed -Ef
# Prints a markdown document for Doxygen. In a git web page its links lead to any file of the tree; in the
# reference those to examples lead to their pages, and those to other sources become plain text.
s#\[([^]]*)\]\(\.\./examples/([a-z/]+\.cpp)\)#\\link \2 \1\\endlink#g
s#\[([^]]*)\]\(\.\./[^)]*/[^)]*\)#\1#g
