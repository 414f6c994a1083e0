# Completion of vorlanectl for bash.
_vorlanectl() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in -*) ;; *) command=$word; break ;; esac
  done
  case $previous in
    --socket | --from | --serve | --serve-keys) compopt -o default; COMPREPLY=(); return ;;
  esac
  local words
  case $command in
    "") words="play queue unqueue stop pause resume seek rate volume get set perform call pin
               hide-pin incompatible audio mirror progress events trace status press swipe screenshot
               --socket --help --version" ;;
    play) words="--rate --position --uuid --audio-only --param --session --wait --serve
                --serve-keys" ;;
    queue) words="--uuid --param --session" ;;
    unqueue|stop) words="--session" ;;
    audio) words="start progress stop --session --param" ;;
    get) words="playbackInfo playbackAccessLog playbackErrorLog timedMetadataArray enableTrack
                selectedMediaArray" ;;
    set) words="position rate date forwardEndTime reverseEndTime enableTrack selectedMediaArray muted
                volume actionAtItemEnd metaData textMarkupArray --qualifier" ;;
    perform) words="playlistInsert playlistRemove requestForStreamingKey failedURLResponse" ;;
    call) words="GetProperty SetProperty Perform StartPresentation StartAudio StartVideo
                 StopPresentation StopAudio StopVideo UpdateAudioMetaData ShowProgress HideProgress
                 Activity UpdateAudioProgress" ;;
    mirror) words="--test-pattern --from --size --fps --seconds --session" ;;
    progress) words="on off" ;;
    events) words="--json --notifications --count --for --until" ;;
    trace) words="--for --until" ;;
    press) words="up down left right select menu playpause home --hold" ;;
    swipe) words="up down left right" ;;
    screenshot) compopt -o default; COMPREPLY=(); return ;;
    *) words="--help" ;;
  esac
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -F _vorlanectl vorlanectl
