#!/bin/sh
# usage: tools/make_town_scene.sh >scenes/occlusion
# Rows of houses along three streets, with gardens behind them: from a street nearly all of the town
# is hidden.
. "$(dirname "$0")/scene_parts.sh"

cat <<'HEAD'
# A town: hundreds of objects, nearly all of them behind walls; made by tools/make_town_scene.sh.
# Key o switches occlusion culling on and off, "d_set GL_hw_occlusion 1" takes the real depth buffer
# in place of the small one in software. Watch V of the statistics line: the picture stays, the
# number of objects drawn does not. Only solid passes that write depth hide others, so walls are
# made of pieces of moderate size, each a child of the room. Fly down the street with p.
room occlusion

camera pos 0.3,2.2,34.5
camera lookat 0.1,2.3,20

light ambient 0.45,0.45,0.52
light set sun pos 30,80,70
light set sun color 0.85,0.75,0.6
light set sun falloff 1,0,0
light set sun shadowlen 200
HEAD
sky day heaven
awk '
function hash(n) {
    n = sin(n * 12.9898) * 43758.5453
    n -= int(n)
    return n < 0 ? n + 1 : n
}
function put(name, mesh, x, y, z) {
    printf "object %s\nset mesh meshes/%s\nset shade light\n", name, mesh
    printf "set pos %.2f,%.2f,%.2f\n", x, y, z
}
function color(r, g, b) { printf "shader set color %.2f,%.2f,%.2f\n", r, g, b }
BEGIN {
    split("0.86,0.78,0.62 0.80,0.62,0.48 0.90,0.86,0.80 0.66,0.72,0.74 0.84,0.70,0.52", plaster)
    print "\n# The ground: pavement and lawn."
    print "shader new\nshader set specular 0,0,0"
    for (r = -5; r <= 5; r++)
        for (c = -5; c <= 5; c++) {
            color(0.50, 0.50 - 0.02 * ((r + c) % 2), 0.44)
            put("ground" 11 * (r + 5) + c + 5, "tile", 8 * c, 0, 8 * r)
            print "set shadow no"
        }
    print "\n# Houses and roofs, streets and gardens by turns between the columns."
    for (c = 0; c < 8; c++)
        for (r = 0; r < 13; r++) {
            n = 13 * c + r
            x = 9 * (c - 3.5) + (c % 2 ? 0.4 : -0.4)
            z = 5 * (r - 6)
            storeys = 1 + int(3 * hash(n + 0.5))
            h = 0.55 * storeys + 0.7
            tint = plaster[1 + int(5 * hash(n + 0.7))]
            print "shader set color " tint
            put("house" n, "house" storeys, x, h - 0.2, z)
            color(0.55 + 0.15 * hash(n), 0.27 + 0.06 * hash(n + 0.1), 0.2)
            print "shader set smooth no"
            put("roof" n, "roof", x, 2 * h + 0.5, z)
            print "set point 1,0,1\nshader set smooth yes"
        }
    print "\n# Lamps of the streets."
    for (c = 0; c < 3; c++)
        for (r = 0; r < 7; r++) {
            n = 7 * c + r
            x = 18 * (c - 1) + (r % 2 ? 1.3 : -1.3)
            z = 10 * (r - 3)
            color(0.25, 0.27, 0.3)
            put("post" n, "post", x, 1.1, z)
            color(0.95, 0.9, 0.7)
            put("lamp" n, "bead", x, 2.4, z)
        }
    print "\n# Gardens."
    for (c = 0; c < 4; c++)
        for (r = 0; r < 26; r++) {
            n = 26 * c + r
            x = 18 * (c - 1.5) + 2.2 * (hash(n + 0.3) - 0.5)
            z = 2.5 * (r - 12.5)
            color(0.18 + 0.1 * hash(n), 0.38 + 0.12 * hash(n + 0.2), 0.2)
            if (n % 3) put("fir" n, "fir", x, 1.2, z); else put("bush" n, "ball", x, 0.35, z)
        }
}'
cat <<'TAIL'

# A tower closes the middle street.
shader set color 0.75,0.73,0.7
object tower
set mesh meshes/tower
set shade light
set pos 0,3,-38
shader set color 0.5,0.27,0.22
object spire
set mesh meshes/spire
set shade light
set pos 0,7.2,-38
TAIL
camera_path "The camera path goes up and down the street." \
    0,1.7,0 0.05,0.03,0.012 0.8,0.3,30 0,0,1.57 0,1,0.2
