# complete.fish SCRIPT LINE prints what fish offers for the last word of LINE.
source $argv[1]
complete -C "$argv[2]"
