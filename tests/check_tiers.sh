#!/bin/sh
# Checks that the sources respect the tiers: check_tiers.sh SOURCE_FOLDER
# Prints every include of a higher tier and every window system or OpenGL header out of place.
cd "$1" || exit 1
find . -name '*.cpp' -o -name '*.h' -o -name '*.inl' | sort | xargs awk '
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
function complain(why) {
    print "src/" file ":" FNR ": includes " header ": " why
    bad = 1
}
FNR == 1 { file = substr(FILENAME, 3); files++ }
/^[ \t]*#[ \t]*include/ {
    header = $0
    sub(/^[^<"]*[<"]/, "", header)
    sub(/[>"].*$/, "", header)
    if (header ~ /^X11\// && file !~ /^(drivers|app)\//) complain("Xlib stops at drivers and app")
    if (header ~ /^GL\// && file !~ /^drivers\/gl\//) complain("OpenGL stays in drivers/gl")
    if (tier(header) > tier(file)) complain("a higher tier")
    if (file ~ /^drivers\/(gl|xlib)\// && header ~ /^renderer\//) {
        complain("drivers do not know the renderer")
    }
    if (tier(file) == 5 && tier(header) == 5 && substr(header, 1, 10) != substr(file, 1, 10)) {
        complain("drivers do not know each other")
    }
}
END {
    if (files < 20) { print "no sources found"; bad = 1 }
    exit bad
}'
