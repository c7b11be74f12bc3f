# Hands include/vek.h to Doxygen. Its comments are written to be read as they stand; here they get the marks that Doxygen
# looks for:
#   the comment at the head of the file                the main page, as it is
#   /* ---- Title ---- */                              a group
#   a comment followed by an empty line                text of the group
#   a comment followed by declarations                 the text of each of them, up to an empty line
#   /* ... */ behind a field or a constant             the text of that
# In a text, rows of three spaces, a label, two spaces or more, and words, with deeper lines continuing a row, make a table.

function escaped(s)
{
    gsub(/&/, "\\&amp;", s)
    gsub(/</, "\\&lt;", s)
    gsub(/>/, "\\&gt;", s)
    gsub(/"/, "\\&quot;", s)
    gsub(/[\\@#%$]/, "\\\\&", s)
    gsub(/(^|[^A-Za-z0-9_])vek[a-z]?[A-Z][A-Za-z0-9]+/, "&()", s)
    gsub(/\(\)\(/, "(", s)
    return s
}

function endRow() { if (inRow) { doc = doc "</td></tr>\n"; inRow = 0 } }
function endTable() { endRow(); if (inTable) { doc = doc "</table>\n"; inTable = 0 } }

# A line of a comment, its opening and closing marks taken away. An indented line continues what is open.
function add(line,    label, text)
{
    sub(/^ \* ?/, "", line)
    if (line ~ /^  [^ ].*[^ ]  +[^ ]/ && line !~ /^   /) {
        endRow()
        if (!inTable) { doc = doc "\n<table class=\"vekRows\">\n"; inTable = 1 }
        label = substr(line, 3)
        text = label
        match(label, /  +/)
        label = substr(label, 1, RSTART - 1)
        text = substr(text, RSTART + RLENGTH)
        doc = doc "<tr><th>" escaped(label) "</th><td>" escaped(text)
        inRow = 1
    } else if (line ~ /^ / && inRow) {
        sub(/^ +/, "", line)
        doc = doc "\n" escaped(line)
    } else {
        endTable()
        if (line ~ /^  / ) { sub(/^ +/, "", line); doc = doc "<br>\n" escaped(line) }
        else doc = doc escaped(line) "\n"
    }
}

FNR == 1 { print "/** @mainpage VEK"; print "@verbatim"; sub(/^\/\* /, ""); print; head = 1; next }
head {
    if (/\*\//) { print "@endverbatim */"; print "/** @file */"; head = 0 }
    else { sub(/^ \* ?/, ""); print }
    next
}

/^#define VEK_API/ { next }

/^\/\* ---- / {
    title = $0
    sub(/^\/\* -+ /, "", title)
    sub(/ -+ \*\/$/, "", title)
    group = "group" ++groups
    if (groups > 1) print "/** @} */"
    print "/** @defgroup " group " " title; print "@{ */"
    next
}

/^\/\*/ { reading = 1; doc = ""; inTable = inRow = 0; sub(/^\/\* ?/, "  * "); sub(/^  /, " ") }
reading {
    last = /\*\/$/
    sub(/ *\*\/$/, "")
    add($0)
    if (last) { endTable(); reading = 0; pending = 1 }
    else print ""
    next
}

/^$/ {
    if (pending == 1) print "/** @} */\n/** @addtogroup " group "\n" doc "@{ */"
    pending = 0
    print
    next
}

# What begins a declaration: a prototype, an enumeration, a record, a type, a macro.
/^(VEK_API|enum|typedef|struct [A-Za-z]+ \{|#define)/ {
    if (pending && !/;$/ || pending && /^(VEK_API|typedef|enum)/ || pending && /^#define/) { print "/** " doc "*/"; pending = 2 }
}
/[;,{].* \/\* .* \*\/$/ || /^    [A-Za-z_0-9 =-]+ \/\* .* \*\/$/ { sub(/\/\* /, "/**< ") }
/^#ifdef __cplusplus/ && groups { print "/** @} */"; groups = 0 }
{ print }
