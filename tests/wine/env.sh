# Sourced: the environment every Windows program of the test bed runs in.
wine_dir=$(realpath -m "$1")
export WINEPREFIX="$wine_dir/prefix"
export WINEDEBUG=-all
# No Mono or Gecko installers, and no .desktop files written into the Linux home.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
WINE=$(command -v wine64 || echo /usr/lib/wine/wine64)
WINESERVER=$(command -v wineserver || echo /usr/lib/wine/wineserver)
if [ -s "$wine_dir/display" ]; then export DISPLAY=":$(cat "$wine_dir/display")"; fi
