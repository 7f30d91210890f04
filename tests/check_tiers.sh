#!/bin/sh
# Checks that the sources respect the tiers: check_tiers.sh ROOT_FOLDER
# Prints every include of a higher tier, every window system, OpenGL or command-line header out of
# place, and every include between tools.
cd "$1" || exit 1
find src tools -name '*.cpp' -o -name '*.h' -o -name '*.inl' | sort | xargs awk '
function tier(file) {
    if (file ~ /^app\//) return 7
    if (file ~ /^scene\/(Command|SceneDatabase|SceneFile)/) return 6
    if (file ~ /^drivers\/(gl|xlib)\//) return 5
    if (file ~ /^renderer\//) return 4
    if (file ~ /^drivers\//) return 3
    if (file ~ /^spatial\/(CameraSpace|Matrix|Plane|Truncate|Vec3)\./) return 0
    if (file ~ /^(scene|spatial)\//) return 2
    if (file ~ /^geometry\//) return 1
    if (file ~ /^(files|settings)\//) return 0
    return -1
}
function folder(file) { return substr(file, 1, index(file, "/")) }
function complain(why) {
    print root file ":" FNR ": includes " header ": " why
    bad = 1
}
function checkProgram() {
    if (header ~ /^X11\// && file !~ /^(drivers|app)\//) complain("Xlib stops at drivers and app")
    if (header ~ /^GL\// && file !~ /^drivers\/gl\//) complain("OpenGL stays in drivers/gl")
    if (tier(header) > tier(file)) complain("a higher tier")
    if (file ~ /^drivers\/(gl|xlib)\// && header ~ /^renderer\//) {
        complain("drivers do not know the renderer")
    }
    if (tier(file) == 5 && tier(header) == 5 && substr(header, 1, 10) != substr(file, 1, 10)) {
        complain("drivers do not know each other")
    }
    if (own && tier(header) < 0) complain("the program does not know the tools")
}
function checkTool() {
    if (tier(header) > tier("geometry/")) complain("tools end at geometry")
    if (header ~ /^(X11|GL)\//) complain("tools draw nothing")
    if (header ~ /^CLI\// || header == "shared/Cli.h") {
        if (file !~ /\/main\.cpp$|^shared\/Cli\.|^mesh\/ShapeCommands\.cpp$/) {
            complain("command lines stay in the mains")
        }
    } else if (own && tier(header) < 0 && folder(header) !~ "^(shared/|" folder(file) ")$") {
        complain("tools share by way of shared")
    }
}
FNR == 1 {
    root = folder(FILENAME)
    file = substr(FILENAME, length(root) + 1)
    files[root]++
}
/^[ \t]*#[ \t]*include/ {
    header = $0
    own = header ~ /"/
    sub(/^[^<"]*[<"]/, "", header)
    sub(/[>"].*$/, "", header)
    if (root == "src/") checkProgram()
    else checkTool()
}
END {
    if (files["src/"] < 20 || files["tools/"] < 20) { print "no sources found"; bad = 1 }
    exit bad
}'
