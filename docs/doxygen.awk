# Turns the comments of our headers into Doxygen's: what stands directly above a declaration documents it, a line that
# starts with a word and two blanks is a labelled one, and lines further in that belong to no label stand as they are.

function flush_verbatim() {
  if (verbatim) print lead "@endcode"
  verbatim = 0
}

# One line of a comment, without its marks.
function comment(text) {
  if (text ~ /^ *$/) {
    flush_verbatim()
    flowing = 0
    print lead
  } else if (match(text, /^ ?[A-Za-z_]+  +/) && text !~ /^  /) {
    flush_verbatim()
    split(text, words, " ")
    word = words[1]
    sub(/^ ?[A-Za-z_]+  +/, "", text)
    if (word == "Returns") print lead "@return " text
    else if (word ~ /^[A-Z]/) { print lead "@par " word; print lead text }
    else print lead "@param " word " " text
    flowing = 1
  } else if (text ~ /^ +[0-9]+\. /) {
    flush_verbatim()
    flowing = 1
    print lead text
  } else if (text ~ /^  / && !flowing) {
    if (!verbatim) print lead "@code{.unparsed}"
    verbatim = 1
    print lead text
  } else {
    flush_verbatim()
    sub(/^ +/, " ", text)
    if (flowing && text !~ /^ /) flowing = 0
    print lead text
  }
}

function leave() {
  flush_verbatim()
  flowing = 0
}

# Long comments in C's form.
!inside && /^ *\/\* [^-]/ && !/\*\/ *$/ {
  lead = " * "
  print "/**" (first++ ? "" : " @file")
  inside = 1
  text = $0
  sub(/^ *\/\* /, "", text)
  print lead text
  next
}
inside {
  text = $0
  last = sub(/ *\*\/ *$/, "", text)
  sub(/^ *\*? ?/, "", text)
  if (text != "" || !last) comment(text)
  if (last) { leave(); print " */"; inside = 0 }
  next
}
# A single line of them.
/^ *\/\* [^-].*\*\/ *$/ {
  sub(/\/\*/, first++ ? "/**" : "/** @file\n *")
  print
  next
}

# Lines in C++'s form.
/^ *\/\/( |$)/ && !/NOLINT/ {
  lead = "/// "
  text = $0
  sub(/^ *\/\/ ?/, "", text)
  if (!first++) print "/// @file"
  comment(text)
  commented = 1
  next
}
{
  if (commented) leave()
  commented = 0
  if ($0 !~ /^ *[#}]/ && $0 !~ /NOLINT/) sub(/  \/\/ /, "  ///< ")
  print
}
