# Makes a manual page of what `PROGRAM [COMMAND] --help` prints, which is the one source of its text.
# Variables: program (lintrix), name (lintrix-solve), version, date.

function escaped(text)
{
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    gsub(/'/, "\\(aq", text)
    gsub(/\^/, "\\(ha", text)
    gsub(/~/, "\\(ti", text)
    gsub(/`/, "\\(ga", text)
    sub(/^\./, "\\\\\\&.", text)
    return text
}

# What stands before the first blank is typed as it is. What follows stands for something else, unless it is a choice.
function styled(term,    at, rest)
{
    at = index(term, " ")
    if (at == 0) return (term ~ /^[A-Z]+$/ && name != program ? "\\fI" : "\\fB") escaped(term) "\\fR"
    rest = escaped(substr(term, at + 1))
    rest = rest ~ /\|/ ? "\\fB" rest "\\fR" : "\\fI" rest "\\fR"
    return "\\fB" escaped(substr(term, 1, at - 1)) "\\fR " rest
}

function say(section, text) { body[section] = body[section] text "\n" }

# A sentence to be put behind the description, of a word that the help puts beside the option.
function note_of(term,    words)
{
    if (term ~ / REQUIRED$/) return " (required)"
    if (!match(term, / Excludes: /)) return ""
    words = substr(term, RSTART + RLENGTH)
    gsub(/ /, ", ", words)
    return " (not with " words ")"
}

function item(line,    term, text)
{
    term = substr(line, 3)
    text = ""
    if (match(term, /  +/)) {
        text = substr(term, RSTART + RLENGTH)
        term = substr(term, 1, RSTART - 1)
    }
    note = note_of(term)
    sub(/ REQUIRED$/, "", term)
    sub(/ Excludes: .*$/, "", term)
    say(section, ".TP\n" styled(term))
    if (text != "") say(section, escaped(text note))
    if (section == "COMMANDS") other[++others] = term
}

function exit_codes(text,    parts, count, i)
{
    sub(/\.$/, "", text)
    count = split(text, parts, /, /)
    for (i = 1; i <= count; ++i) {
        if (parts[i] ~ /^[0-9] /)
            say("EXIT STATUS", ".TP\n.B " substr(parts[i], 1, 1) "\n" escaped(substr(parts[i], 3)))
        else
            say("EXIT STATUS", ", " escaped(parts[i]))
    }
}

NR == 1 { title = $0; next }
/^Usage: / { usage = substr($0, 8); next }
/^Positionals:$/ { section = "ARGUMENTS"; next }
/^Options:$/ { section = "OPTIONS"; next }
/^Subcommands:$/ { section = "COMMANDS"; next }
/^Environment:$/ { section = "ENVIRONMENT"; next }
/^$/ { section = ""; next }
/^  [^ ]/ && section != "" { item($0); next }
/^   / && section != "" { sub(/^ +/, ""); say(section, escaped($0 note)); next }
/^Exit code: / { exit_codes(substr($0, 12)); next }
# A line to be typed stands inwards. Any other one goes on with the one before it, unless that ended a sentence.
/^  / {
    sub(/^ +/, "")
    say("DESCRIPTION", ".RS 2\n" escaped($0) "\n.RE")
    ended = 0
    next
}
{
    if (ended) say("DESCRIPTION", ".br")
    say("DESCRIPTION", escaped($0))
    ended = /[.:]$/
}

END {
    sub(/^Lintrix: /, "", title)
    print ".TH " toupper(escaped(name)) " 1 \"" date "\" \"Lintrix " version "\" \"User Commands\""
    print ".SH NAME\n" escaped(name) " \\- " escaped(title)
    print ".SH SYNOPSIS\n\\fB" escaped(usage) "\\fR"
    count = split("DESCRIPTION,ARGUMENTS,OPTIONS,COMMANDS,ENVIRONMENT,EXIT STATUS", order, ",")
    for (i = 1; i <= count; ++i)
        if (body[order[i]] != "") printf ".SH %s\n%s", order[i], body[order[i]]
    print ".SH SEE ALSO"
    if (name != program) print ".BR " escaped(program) " (1)"
    for (i = 1; i <= others; ++i) print ".BR " escaped(program "-" other[i]) (i < others ? " (1)," : " (1)")
}
