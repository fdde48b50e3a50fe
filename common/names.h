#pragma once

// Names of the files that make up an installation, as they stand in the install folder.
inline constexpr char LogFileName[] = "launcher.log";
inline constexpr char VersionFileName[] = "version.txt";
inline constexpr char LauncherExeName[] = "Launcher_x64_win.exe";
inline constexpr char MarkerFileName[] = "install.ok";
inline constexpr char GameExeName[] = "Game_x64_win.exe";
inline constexpr char ArchiveFileName[] = "game.zip";

// The game's download server: plain HTTP on a fixed port of a host chosen at build time.
extern const char DownloadServerHost[];
inline constexpr unsigned short DownloadServerPort = 8080;
