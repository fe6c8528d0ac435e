# Completion of lumoflash for fish: the program itself is asked what may stand next.
function __lumoflash_complete
    set -l words (commandline --tokenize --cut-at-cursor --current-process)
    set -l word (commandline --current-token --cut-at-cursor)
    set -l answer ($words[1] __complete $words[2..] "$word" 2>/dev/null)
    or return
    set -l header (string split \t -- $answer[1])
    set -l path (string replace -- "$header[2]" '' "$word")
    switch $header[1]
        case files
            for file in (__fish_complete_path "$path")
                set -l name (string split \t -- $file)[1]
                set -l ending (string replace --regex -- '.*\.' '' $name)
                if test -z "$header[3]"; or string match --quiet -- '*/' $name; or contains -- $ending (string split ' ' -- $header[3])
                    echo $header[2]$name
                end
            end
        case folders
            for folder in (__fish_complete_directories "$path" '')
                echo $header[2]$folder
            end
        case '*'
            printf '%s\n' $answer[2..]
    end
end
complete --command lumoflash --no-files --arguments '(__lumoflash_complete)'
