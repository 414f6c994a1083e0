# Read by gdb when it starts in this folder and ~/.gdbinit has
#     add-auto-load-safe-path PATH_OF_THIS_FOLDER/.gdbinit
# or with `gdb -x .gdbinit PROGRAM`.

source tools/gdb/vorlane.py

set print pretty on
set print object on
set breakpoint pending on
# Sockets report a closed peer by this signal, and the programs ignore it.
handle SIGPIPE nostop noprint pass
