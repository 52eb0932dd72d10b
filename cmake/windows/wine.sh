#!/bin/sh
# Runs a program of the Windows build under Wine, without a display.
#
#   wine.sh [--path FOLDER:FOLDER…] PROGRAM [ARGUMENT…]     FOLDERs are searched for DLLs
#   wine.sh --wait                                        until all programs have ended
#
# The prefix is in $ZMU_CACHE, see prepare.sh.
WINEPREFIX=${ZMU_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/zmu}/wine
WINEDEBUG=${WINEDEBUG:--all}
# No questions about components that nothing here uses, and no entries in the user's desktop menus.
WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
WINEARCH=win64
# File names are UTF-8 whatever the caller's locale is.
LC_ALL=C.UTF-8
export WINEPREFIX WINEDEBUG WINEDLLOVERRIDES WINEARCH LC_ALL
unset DISPLAY WAYLAND_DISPLAY

wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(command -v wine64 || command -v wine) || { echo 'wine.sh: there is no Wine' >&2; exit 127; }
# A page of Windows has an address of its own. Where the system chooses addresses at random it is the
# heap's in one start of some thousands, which ends without a word.
where_it_fits=
setarch -R true 2>/dev/null && where_it_fits='setarch -R'
server=/usr/lib/wine/wineserver64
[ -x "$server" ] || server=wineserver

if [ "$1" = --wait ]; then
    exec "$server" --wait
fi
if [ "$1" = --path ]; then
    WINEPATH=Z:$(printf %s "$2" | sed 's/:/;Z:/g')
    export WINEPATH
    shift 2
fi
export WINESERVER="$server"
# One server with its services outlives the single program, and so does the desktop's program once
# there was a window. They are started with nothing attached: as children of a test they would keep
# its output open, and CTest would wait for them.
if [ -d "$WINEPREFIX" ]; then
    exec 9>"$WINEPREFIX.lock"
    flock 9
    if "$server" --persistent=20 </dev/null >/dev/null 2>&1 9>&- ||
        ! grep -qs 'explorer\.exe' /proc/[0-9]*/cmdline; then
        $where_it_fits "$wine" rundll32 user32.dll,GetDesktopWindow </dev/null >/dev/null 2>&1 9>&-
    fi
    exec 9>&-
fi
exec $where_it_fits "$wine" "$@"
