# Doxygen's input filter for the public headers: their plain // comments are
# the reference's text, so they become documentation comments here, and the
# headers stay as they are.
#   - a run of comment lines directly above a declaration documents it (///);
#     when overloads of it follow directly, each of them gets the same text
#     after it (///<);
#   - a comment after a declaration on its line documents that (///<), and so
#     do the comment lines below it that start in the same column;
#   - comments above a blank line, a preprocessor line, a closing brace or
#     extern "C" document nothing and pass unchanged, as do comments after
#     such lines.
# Every line keeps its place, so that Doxygen's line numbers stay right.

# The column of a line's // comment outside string and character literals, or 0.
function commentColumn(line,    i, c, quote) {
    quote = ""
    for (i = 1; i < length(line); i++) {
        c = substr(line, i, 1)
        if (quote != "") {
            if (c == "\\") {
                i++
            } else if (c == quote) {
                quote = ""
            }
        } else if (c == "\"" || c == "'") {
            quote = c
        } else if (c == "/" && substr(line, i + 1, 1) == "/") {
            return i
        }
    }
    return 0
}

# What a line is: "comment" (nothing but a // comment), "plain" (blank,
# preprocessor, closing brace, extern "C", access specifier: nothing a comment
# above it could document), or "code".
function kind(i,    code) {
    code = column[i] ? substr(text[i], 1, column[i] - 1) : text[i]
    if (column[i] && code ~ /^[ \t]*$/) {
        return substr(text[i], column[i], 3) == "///" ? "code" : "comment"
    }
    if (code ~ /^[ \t]*$/ || code ~ /^[ \t]*(#|}|extern "C"|public:|protected:|private:)/) {
        return "plain"
    }
    return "code"
}

function count(s, pattern) {
    return gsub(pattern, "", s)
}

# The name a declaration starting at line i declares: the word before its
# first parenthesis ("GetInt", "~CZelConfigReader", "operator="); "" for
# anything else.
function declared(i,    line) {
    line = column[i] ? substr(text[i], 1, column[i] - 1) : text[i]
    if (!match(line, /[~A-Za-z_][A-Za-z0-9_]*(=|==)?[ \t]*\(/)) {
        return ""
    }
    line = substr(line, RSTART, RLENGTH)
    sub(/[ \t]*\($/, "", line)
    return line
}

# The declarations that start at line i and declare the same name (the
# overloads a comment above the first one speaks of): how many follow the
# first, with the line each ends on in ends[1..]. Only declarations that open
# or close no scope count.
function overloads(i,    j, name, line, units) {
    name = declared(i)
    units = 0
    j = i
    while (name != "" && j <= n && what[j] == "code" && declared(j) == name) {
        # One declaration: its lines up to the one that ends in ';' or '}'.
        for (; j <= n && what[j] == "code"; j++) {
            line = column[j] ? substr(text[j], 1, column[j] - 1) : text[j]
            if (count(line, "{") != count(line, "}")) {
                return units > 0 ? units - 1 : 0
            }
            if (line ~ /[;}][ \t]*$/) {
                break
            }
        }
        if (j > n || what[j] != "code") {
            break
        }
        ends[units++] = j
        j++
    }
    # ends[0] is the documented declaration's own end.
    return units > 0 ? units - 1 : 0
}

# A trailing comment becomes ///< on line i, when it is not one already.
function documentAfter(i) {
    if (column[i] && substr(text[i], column[i], 3) != "///") {
        text[i] = substr(text[i], 1, column[i] - 1) "///<" substr(text[i], column[i] + 2)
        return column[i]
    }
    return 0
}

{
    text[++n] = $0
    column[n] = commentColumn($0)
}

END {
    for (i = 1; i <= n; i++) {
        what[i] = kind(i)
    }
    trailing = 0
    for (i = 1; i <= n; i++) {
        if (what[i] == "comment" && trailing && column[i] == trailing) {
            # The next line of a comment after a declaration.
            sub(/\/\//, "///<", text[i])
            continue
        }
        trailing = 0
        if (what[i] == "comment") {
            for (j = i; j <= n && what[j] == "comment"; j++) {
            }
            if (j <= n && what[j] == "code") {
                for (k = i; k < j; k++) {
                    sub(/\/\//, "///", text[k])
                }
                # Each overload that follows gets the same text, after it.
                same = ""
                for (k = i; k < j; k++) {
                    line = substr(text[k], column[k] + 3)
                    sub(/^[ \t]+/, "", line)
                    same = same (same == "" ? "" : " ") line
                }
                m = overloads(j)
                for (k = 1; k <= m; k++) {
                    if (!column[ends[k]]) {
                        column[ends[k]] = length(text[ends[k]]) + 2
                        text[ends[k]] = text[ends[k]] " ///< " same
                    }
                }
            }
            i = j - 1
            continue
        }
        if (what[i] == "code") {
            trailing = documentAfter(i)
        }
    }
    for (i = 1; i <= n; i++) {
        print text[i]
    }
}
