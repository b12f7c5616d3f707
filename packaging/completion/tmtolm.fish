# Completion of tmtolm for fish.
#
# What there is to complete is read from the program's own --help, so that it is always what the
# installed program knows; item ids are those of the installed documents.

# Prints a line a word: kind (option, place, subcommand), word, type of its value, what it does.
function __tmtolm_words
    $argv --help 2>/dev/null | awk '
    function flush() { if (row != "") print row "\t" text; row = "" }
    /^[A-Z][a-z]*:$/ { flush(); section = $1; next }
    /^          / && row != "" && text == "" { text = $0; sub(/^ */, "", text); next }
    !/^  [^ ]/ { flush(); next }
    {
      flush()
      line = substr($0, 3)
      text = ""
      if (match(line, /   */)) { text = substr(line, RSTART + RLENGTH); line = substr(line, 1, RSTART - 1) }
      count = split(line, word, " ")
      # "SECONDS:UINT in [1 - 86400]" says what else is looked at.
      type = word[2]
      sub(/:.*/, "", type)
      if (count < 2 || type !~ /^[A-Z]+$/ || type == "REQUIRED") type = "-"
    }
    section == "Options:" {
      names = split(word[1], name, ",")
      for (i = 1; i < names; ++i) print "option\t" name[i] "\t" type "\t" text
      row = "option\t" name[names] "\t" type
    }
    section == "Positionals:" { row = "place\t" (line ~ /\.\.\./ ? "..." : ".") "\t" word[1] }
    section == "Subcommands:" { row = "subcommand\t" word[1] "\t-" }
    END { flush() }'
end

# Prints the values that a word of the type $argv[2], begun as $argv[3], may have.
function __tmtolm_value
    switch $argv[2]
        case PATH REQUEST
            __fish_complete_path "$argv[3]" | string match -r -- '^[^\t]*(?:/|\.xml)(?:\t.*)?$'
        case BUNDLE OLD NEW IN OUT
            __fish_complete_path "$argv[3]" | string match -r -- '^[^\t]*(?:/|\.zip)(?:\t.*)?$'
        case FILE KEY RULES
            __fish_complete_path "$argv[3]"
        case FOLDER DIR
            __fish_complete_directories "$argv[3]"
        case ID WHAT
            $argv[1] plan --json 2>/dev/null | sed -n 's/^ *"id": "\([^\\\\]*\)",$/\1/p' | sort -u
    end
end

function __tmtolm_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l program $words[1]
    set -l subcommand
    set -l start 2
    for i in (seq 2 (count $words))
        if not string match -q -- '-*' $words[$i]
            set subcommand $words[$i]
            set start (math $i + 1)
            break
        end
    end

    set -l valued
    set -l types
    set -l places
    set -l out
    set -l subcommands
    for row in (__tmtolm_words $program $subcommand)
        set -l field (string split \t -- $row)
        switch $field[1]
            case option
                if test $field[3] != -
                    set -a valued $field[2]
                    set -a types $field[3]
                end
                if string match -q -- '--*' $field[2]
                    set -a out $field[2]\t$field[4]
                end
            case place
                set -a places $field[3]$field[2]
            case subcommand
                set -a subcommands $field[2]\t$field[4]
        end
    end

    set -l previous $words[-1]
    set -l prefix
    if string match -q -- '--*=*' $current
        set previous (string replace -r '=.*' '' -- $current)
        set prefix $previous=
        set current (string replace -r '^[^=]*=' '' -- $current)
    end
    if set -l at (contains -i -- $previous $valued)
        set -l type $types[$at]
        # Requests are documents; other files may have any name.
        if test $previous = --request -a $type = FILE
            set type REQUEST
        end
        for value in (__tmtolm_value $program $type $current)
            printf '%s\n' "$prefix$value"
        end
        return
    end
    if string match -q -- '-*' $current
        printf '%s\n' $out
        return
    end
    if test -z "$subcommand"
        printf '%s\n' $subcommands
        return
    end

    # Which positional this is: the words behind the subcommand that are neither options nor their values.
    set -l place 1
    set -l skip 0
    for word in $words[$start..-1]
        if test $skip = 1
            set skip 0
        else if string match -q -- '-*' $word
            if contains -- $word $valued
                set skip 1
            end
        else
            set place (math $place + 1)
        end
    end
    if test $place -le (count $places)
        __tmtolm_value $program (string replace -r '\.+$' '' -- $places[$place]) "$current"
    else if string match -q -- '*...' "$places[-1]"
        __tmtolm_value $program (string replace -r '\.+$' '' -- $places[-1]) "$current"
    end
end

complete -c tmtolm -f -a '(__tmtolm_complete)'
