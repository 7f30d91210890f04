#!/bin/sh
# usage: tools/make_many_scene.sh >scenes/many
# Five thousand objects spread over a cube, coloured by their place in it.
. "$(dirname "$0")/scene_parts.sh"

cat <<'HEAD'
# Five thousand objects in a cube of half side 60, coloured by where they are: red grows with x,
# green with y, blue with z. Made by tools/make_many_scene.sh. All are children of the room, whose
# octree finds those in view: watch V of the statistics line (objects drawn / visited) while you
# turn, narrow the view (]) or fly (p). "r_set P_LODstep 64" makes finer levels, more than there is
# room for display lists: D falls until "d_set GL_dlistMax 16384" and "d_set GL_dlistSize 65536".
room many

camera pos -58,50,66
camera lookat 0,0,0

light ambient 0.3,0.3,0.3
light set sun pos -300,500,400
light set sun color 0.8,0.8,0.8
light set sun falloff 1,0,0
light set sun shadowlen 60
HEAD
sky night heaven
shiny
awk '
# Multiplicative congruences: the same places on every machine.
function random() { seed = (seed * 16807) % 2147483647; return seed / 2147483647 }
function level(v) { return int((v + 60) / 20.0001) }
BEGIN {
    seed = 20011
    split("orb die gem loop", mesh, " ")
    count = 5000
    for (i = 0; i < count; i++) {
        x[i] = sprintf("%.1f", 120 * random() - 60)
        y[i] = sprintf("%.1f", 120 * random() - 60)
        z[i] = sprintf("%.1f", 120 * random() - 60)
        cell = level(x[i]) * 36 + level(y[i]) * 6 + level(z[i])
        next_in[i] = first[cell]
        first[cell] = i + 1
    }
    for (cell = 0; cell < 216; cell++) {
        printf "shader set color %.2f,%.2f,%.2f\n", 0.1 + 0.16 * int(cell / 36), \
            0.1 + 0.16 * (int(cell / 6) % 6), 0.1 + 0.16 * (cell % 6)
        for (i = first[cell]; i; i = next_in[i - 1])
            printf "object %d\nset mesh meshes/%s\nset pos %s,%s,%s\nset shade light\n", \
                i, mesh[1 + i % 4], x[i - 1], y[i - 1], z[i - 1]
    }
}'
camera_path "The camera path winds through the cube." \
    0,0,0 0.006,0.008,0.005 58,50,66 4.71,1.57,1.57 0.3,0.5,0.6
