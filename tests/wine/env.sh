# Sourced: the environment every Windows program of the test bed runs in.
wine_dir=$(realpath -m "$1")
export WINEPREFIX="$wine_dir/prefix"
export WINEDEBUG=-all
# Wine takes the ANSI code page from the Unix locale: the C locale's is Windows-1252, which the
# plain build's rows expect, on a machine set up for any language. UTF-8 for the host's names.
export LC_ALL=C.UTF-8
# No Mono or Gecko installers, and no .desktop files written into the Linux home.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
WINE=$(command -v wine64 || echo /usr/lib/wine/wine64)
WINESERVER=$(command -v wineserver || echo /usr/lib/wine/wineserver)
if [ -s "$wine_dir/display" ]; then export DISPLAY=":$(cat "$wine_dir/display")"; fi
