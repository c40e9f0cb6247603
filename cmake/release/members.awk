# Public members in lower case of the classes in headers, as Class::name. A line is a piece of text between braces and
# semicolons, or one of these; comments, strings and lines of the preprocessor are gone. words is a file of the names that
# are exported: of classes in a namespace `detail`, only those count.

BEGIN {
    while ((getline word < words) > 0) exported[word] = 1
    depth = 0
}

# The name that a head of a class ends with, before its bases; empty where it is none.
function class_of(head)
{
    gsub(/<[^<>]*>/, "", head)
    gsub(/<[^<>]*>/, "", head)
    if (head !~ /(^|[ >])(class|struct) / || head ~ /[()=]/ || head ~ /(^| )enum /) return ""
    sub(/ (final )?:[^:].*/, "", head)
    sub(/ final *$/, "", head)
    sub(/ +$/, "", head)
    sub(/.*[ :]/, "", head)
    return head
}

# What stands behind `public:` and its like; the last of them is in force from here on.
function behind_access(text)
{
    while (match(text, /(^|[^:A-Za-z_])(public|protected|private) *:([^:]|$)/)) {
        access[depth] = substr(text, RSTART, RLENGTH) ~ /public/ ? "public" : "hidden"
        text = substr(text, RSTART + RLENGTH - 1)
        sub(/^:/, "", text)
    }
    return text
}

function without(text, pattern)
{
    while (gsub(pattern, "", text)) { }
    return text
}

function tell_name(name)
{
    sub(/ +$/, "", name)
    sub(/.*[^A-Za-z_0-9]/, "", name)
    if (name ~ /^[a-z]/ && name !~ /^(template|const|requires)$/) print label[depth] "::" name
}

# A declaration is a function where a parenthesis stands before any value; else there may be several fields in it.
function tell(text,    fields, count, i)
{
    if (kind[depth] != "class" || access[depth] != "public" || text ~ /operator|^ *[,):]/) return
    if (text ~ /^ *(using|friend|typedef|static_assert|template *<[^>]*> *(class|struct|friend)|class|struct|enum|$)/) return
    gsub(/\[\[[^]]*\]\]/, "", text)
    gsub(/(noexcept|decltype|alignas|explicit|requires|void|bool|int|double) *\(/, "(", text)
    text = without(text, "<[^<>]*>")
    if (match(text, /^[^=(]*[A-Za-z_0-9] *\(/)) {
        tell_name(substr(text, 1, RLENGTH - 1))
        return
    }
    count = split(without(text, "\\([^()]*\\)"), fields, ",")
    for (i = 1; i <= count; ++i) {
        sub(/ *=.*| *\[.*/, "", fields[i])
        tell_name(fields[i])
    }
}

# Whether a brace behind this begins a value, and no body.
function awaits_value(text)
{
    return gsub(/\(/, "(", text) > gsub(/\)/, ")", text) || text ~ /= *$/ ||
           (kind[depth] == "class" && text !~ /[()]/ && text !~ /(^|[ >])(class|struct|union|enum) /)
}

function open_scope(head,    name, outer)
{
    name = class_of(head)
    if (name == "") tell(head)
    outer = depth++
    kind[depth] = "block"
    inside[depth] = inside[outer]
    if (name != "") {
        label[depth] = (kind[outer] == "class" ? label[outer] "::" : "") name
        access[depth] = head ~ /(^|[ >])struct / ? "public" : "hidden"
        if (kind[outer] == "class" ? access[outer] == "public" : !inside[outer] || name in exported) kind[depth] = "class"
    } else if (head ~ /namespace .*detail/) {
        inside[depth] = 1
    }
}

values > 0 { values += ($0 == "{") - ($0 == "}"); next }
$0 == "{" && awaits_value(text) { values = 1; next }
$0 == "{" { open_scope(text); text = ""; next }
$0 == "}" { --depth; text = ""; next }
$0 == ";" { tell(text); text = ""; next }
{ text = text (kind[depth] == "class" ? behind_access($0) : $0) }
