# Completion of vorlanectl for fish.
set -l commands play queue unqueue stop pause resume seek rate volume get set perform call pin \
    hide-pin incompatible audio mirror progress events trace status press swipe screenshot
complete -c vorlanectl -f
complete -c vorlanectl -l socket -r -F -d 'Socket of the box'
complete -c vorlanectl -l help -d 'Help'
complete -c vorlanectl -l version -d 'Version'
complete -c vorlanectl -n "not __fish_seen_subcommand_from $commands" -a "$commands"
complete -c vorlanectl -n '__fish_seen_subcommand_from play' -l rate -x
complete -c vorlanectl -n '__fish_seen_subcommand_from play' -l position -x
complete -c vorlanectl -n '__fish_seen_subcommand_from play' -l audio-only
complete -c vorlanectl -n '__fish_seen_subcommand_from play' -l wait
complete -c vorlanectl -n '__fish_seen_subcommand_from play' -l serve -r
complete -c vorlanectl -n '__fish_seen_subcommand_from play' -l serve-keys -r
complete -c vorlanectl -n '__fish_seen_subcommand_from play queue' -l uuid -x
complete -c vorlanectl -n '__fish_seen_subcommand_from play queue audio' -l param -x
complete -c vorlanectl -n '__fish_seen_subcommand_from play queue unqueue stop audio' -l session -x
complete -c vorlanectl -n '__fish_seen_subcommand_from audio' -a 'start progress stop'
complete -c vorlanectl -n '__fish_seen_subcommand_from mirror' -l test-pattern
complete -c vorlanectl -n '__fish_seen_subcommand_from mirror' -l from -r -F
complete -c vorlanectl -n '__fish_seen_subcommand_from mirror' -l size -x
complete -c vorlanectl -n '__fish_seen_subcommand_from mirror' -l fps -x
complete -c vorlanectl -n '__fish_seen_subcommand_from mirror' -l seconds -x
complete -c vorlanectl -n '__fish_seen_subcommand_from mirror' -l session -x
complete -c vorlanectl -n '__fish_seen_subcommand_from progress' -a 'on off'
complete -c vorlanectl -n '__fish_seen_subcommand_from events' -l json
complete -c vorlanectl -n '__fish_seen_subcommand_from events' -l notifications
complete -c vorlanectl -n '__fish_seen_subcommand_from events' -l count -x
complete -c vorlanectl -n '__fish_seen_subcommand_from events trace' -l for -x
complete -c vorlanectl -n '__fish_seen_subcommand_from events trace' -l until -x
complete -c vorlanectl -n '__fish_seen_subcommand_from get' -a 'playbackInfo playbackAccessLog playbackErrorLog timedMetadataArray enableTrack selectedMediaArray'
complete -c vorlanectl -n '__fish_seen_subcommand_from set' -a 'position rate date forwardEndTime reverseEndTime enableTrack selectedMediaArray muted volume actionAtItemEnd metaData textMarkupArray'
complete -c vorlanectl -n '__fish_seen_subcommand_from press' -l hold -x
complete -c vorlanectl -n '__fish_seen_subcommand_from press' -a 'up down left right select menu playpause home'
complete -c vorlanectl -n '__fish_seen_subcommand_from swipe' -a 'up down left right'
complete -c vorlanectl -n '__fish_seen_subcommand_from screenshot' -F
