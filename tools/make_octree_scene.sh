#!/bin/sh
# usage: tools/make_octree_scene.sh >scenes/octree
# A spiral galaxy of 400 direct children of one room: the octree of the room decides which of them
# are visited at all.
. "$(dirname "$0")/scene_parts.sh"

cat <<'HEAD'
# Hundreds of objects in one room; made by tools/make_octree_scene.sh. Watch the V field of the
# statistics line while you turn away or fly inside (p): the room's octree lets the renderer visit
# only the boxes of objects that are in view and large enough to be seen.
room octree

camera pos 0,7,16
camera lookat 0,0,0

light ambient 0.2,0.2,0.26
light set far pos 4,12,20
light set far color 0.5,0.5,0.6
light set far falloff 1,0,0
light set core pos 0,1.5,0
light set core color 1,0.9,0.7
light set core falloff 0.3,0,0.02
HEAD
sky night sky
cat <<'CORE'

object core
set mesh meshes/flare
set billboard yes
set shadow no
shader new
shader set lit no
shader set texture textures/glow
shader set color 1,0.85,0.6
shader set blend add
shader set depth no
set shade blend
CORE
shiny
awk 'BEGIN {
    split("bead pebble ball", mesh, " ")
    for (i = 0; i < 400; i++) {
        arm = i % 2
        t = i / 400
        radius = 2.5 + 12 * t
        angle = 3.14159265 * arm + 9 * sqrt(t) + 0.5 * sin(i * 12.9898)
        height = sin(i * 78.233) * (1.4 - t)
        spread = 0.9 * sin(i * 37.719)
        warm = 1 - t
        printf "shader set color %.2f,%.2f,%.2f\n", 0.3 + 0.6 * warm, 0.45 + 0.15 * sin(i), 0.95 - 0.5 * warm
        printf "object s%03d\nset mesh meshes/%s\nset pos %.2f,%.2f,%.2f\n", i, mesh[i % 7 == 0 ? 3 : 1 + i % 2], \
            (radius + spread) * sin(angle), height, (radius + spread) * cos(angle)
        print "set shade light"
    }
}'
camera_path "The camera path dives through the disc." \
    0,1.5,0 0.012,0.019,0.012 11,5,11 0,0.5,1.57 0.8,0,0.2
