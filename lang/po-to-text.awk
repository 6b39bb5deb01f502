# Turns a catalogue, as msgcat --no-wrap writes it, into the text format: phrase, translation, empty line. Line breaks
# become a backslash and "n" on both sides; untranslated phrases and the header are left out.

function text(line,    plain, i, mark) {
    sub(/^[^"]*"/, "", line)
    sub(/"$/, "", line)
    plain = ""
    for (i = 1; i <= length(line); ++i) {
        mark = substr(line, i, 1)
        if (mark == "\\") {
            mark = substr(line, ++i, 1)
            if (mark == "n") {
                mark = "\\n"
            }
        }
        plain = plain mark
    }
    return plain
}

function write() {
    if (phrase != "" && translation != "") {
        printf "%s\n%s\n\n", phrase, translation
    }
    phrase = translation = ""
}

/^msgid / { write(); side = "phrase" }
/^msgstr / { side = "translation" }
/^(msgid |msgstr |")/ {
    if (side == "phrase") {
        phrase = phrase text($0)
    } else {
        translation = translation text($0)
    }
}
END { write() }
