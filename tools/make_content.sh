#!/bin/sh
# usage: tools/make_content.sh BUILD-FOLDER   (in the root of the source tree)
# Makes every file of meshes/ and textures/ anew with the tools of that build.
set -e

mesh="$1/pallix-mesh"
texture="$1/pallix-texture"
mkdir -p meshes textures

# Basic shapes, radius or half size 1. The error lets the renderer thin them out beyond some
# fifteen times their size; what is large or seen from inside is never touched (-1).
"$mesh" sphere --rows 33 --columns 49 --error 10 meshes/sphere
"$mesh" torus --radius 1 --tube 0.32 --rows 25 --columns 65 --error 10 meshes/torus
"$mesh" cylinder --rows 14 --columns 49 --error 10 meshes/cylinder
"$mesh" cylinder --top 0 --rows 17 --columns 49 --error 10 meshes/cone
"$mesh" superquadric --meridian 0.35 --equator 0.35 --rows 33 --columns 49 --error 10 meshes/cube
"$mesh" superquadric --meridian 1.7 --equator 1.7 --x 0.8 --y 1.3 --z 0.8 --rows 9 --columns 11 \
    --error -1 meshes/crystal
"$mesh" teapot --height 1.5 --rows 13 --columns 13 --error 12 meshes/teapot

# Parts of the scenes.
"$mesh" sphere --radius 0.5 --rows 25 --columns 33 --error 6 meshes/ball
"$mesh" sphere --radius 0.25 --rows 13 --columns 25 --error 3 meshes/bead
"$mesh" sphere --radius 0.42 --rows 9 --columns 13 --error -1 meshes/cage
"$mesh" superquadric --meridian 0.7 --equator 0.7 --x 0.2 --y 0.13 --z 0.2 --rows 13 --columns 25 \
    --error 3 meshes/pebble
"$mesh" cylinder --bottom 0.5 --top 0.16 --height 1 --rows 14 --columns 33 --error 6 meshes/skirt
"$mesh" cylinder --bottom 1.9 --top 1.8 --height 0.25 --rows 12 --columns 65 --error 10 \
    meshes/plinth
"$mesh" cylinder --bottom 0.5 --top 0.42 --height 1 --rows 14 --columns 33 --error 6 meshes/column
"$mesh" cylinder --bottom 0.5 --top 0.8 --height 0.12 --rows 12 --columns 49 --error 6 meshes/dish
"$mesh" cylinder --open --bottom 2 --top 1.35 --height 0.01 --codec flat --rows 3 --columns 65 \
    --error -1 meshes/rings

# Sheets. Quads face the viewer (billboards, glass); a tile and a ground lie flat.
"$mesh" plane --axis z --codec flat --rows 2 --columns 2 --error -1 meshes/quad
"$mesh" plane --axis z --codec flat --rows 2 --columns 2 --width 12 --depth 12 --error -1 \
    meshes/flare
"$mesh" plane --codec flat --rows 2 --columns 2 --width 2.2 --depth 2.2 --error -1 meshes/blot
"$mesh" plane --codec flat --rows 2 --columns 2 --width 3.2 --depth 3.2 --error -1 meshes/blur
"$mesh" plane --codec flat --rows 2 --columns 2 --width 5.8 --depth 5.8 --error -1 meshes/stain
"$mesh" plane --axis z --rows 9 --columns 9 --width 1.2 --depth 1.2 --error -1 meshes/disc
"$mesh" plane --rows 25 --columns 25 --width 8 --depth 8 --error -1 meshes/tile
"$mesh" plane --codec flat --rows 2 --columns 2 --width 48 --depth 48 --error -1 meshes/ground
"$mesh" heightfield --island --seed 11 --frequency 3 --octaves 7 --width 60 --depth 20 \
    --height 13 --rows 33 --columns 97 --error -1 meshes/mountains
"$mesh" heightfield --seed 5 --frequency 3 --octaves 4 --width 5 --depth 5 --height 1.3 \
    --rows 65 --columns 65 --error 20 meshes/terrain
"$mesh" sphere --radius 60 --rows 25 --columns 33 --error -1 meshes/sky
"$mesh" cylinder --open --bottom 23 --top 23 --height 6 --codec flat --rows 3 --columns 49 \
    --error -1 meshes/mist

# What shows one feature: globes and hills for the level of detail (each globe twice as large as the
# one before, with the same grid and error), sheets for many lights, a sail for the shadows.
for size in 1 2 4 8 16; do
    "$mesh" sphere --radius $size --rows 33 --columns 65 --error 6 meshes/globe$size
done
"$mesh" heightfield --island --seed 7 --frequency 2 --octaves 4 --width 20 --depth 20 --height 5 \
    --rows 33 --columns 33 --error 10 meshes/hill
"$mesh" plane --width 10 --depth 10 --rows 41 --columns 41 --error -1 meshes/slab
"$mesh" plane --width 2.5 --depth 2.5 --rows 11 --columns 11 --error -1 meshes/flag
"$mesh" plane --axis z --codec flat --rows 2 --columns 2 --width 0.5 --depth 0.5 --error -1 \
    meshes/spark
"$mesh" heightfield --axis z --seed 4 --frequency 2 --octaves 1 --width 1.7 --depth 2.2 \
    --height 0.7 --rows 17 --columns 13 --error -1 meshes/sail
"$mesh" sphere --radius 600 --rows 25 --columns 33 --error -1 meshes/heaven

# A town: houses of one to three storeys, pyramids for their roofs.
"$mesh" superquadric --meridian 0.1 --equator 0.1 --x 2.4 --y 1.25 --z 2.4 --rows 13 --columns 25 \
    --error -1 meshes/house1
"$mesh" superquadric --meridian 0.1 --equator 0.1 --x 2.4 --y 1.8 --z 2.4 --rows 13 --columns 25 \
    --error -1 meshes/house2
"$mesh" superquadric --meridian 0.1 --equator 0.1 --x 2.4 --y 2.35 --z 2.4 --rows 13 --columns 25 \
    --error -1 meshes/house3
"$mesh" cylinder --bottom 3.7 --top 0 --height 1.5 --rows 14 --columns 5 --error -1 meshes/roof
"$mesh" cylinder --bottom 0.9 --top 0 --height 2.4 --rows 14 --columns 13 --error -1 meshes/fir
"$mesh" cylinder --bottom 0.07 --top 0.05 --height 2.2 --rows 12 --columns 9 --error -1 meshes/post
"$mesh" cylinder --bottom 1.4 --top 1.1 --height 6 --rows 14 --columns 25 --error -1 meshes/tower
"$mesh" cylinder --bottom 1.5 --top 0 --height 2.8 --rows 14 --columns 25 --error -1 meshes/spire

# Coarse solids for a crowd.
"$mesh" sphere --radius 1.1 --rows 17 --columns 25 --error 12 meshes/orb
"$mesh" superquadric --meridian 0.35 --equator 0.35 --rows 17 --columns 25 --error 12 meshes/die
"$mesh" superquadric --meridian 1.7 --equator 1.7 --x 1.2 --y 1.6 --z 1.2 --rows 17 --columns 25 \
    --error 12 meshes/gem
"$mesh" torus --radius 0.95 --tube 0.42 --rows 17 --columns 25 --error 12 meshes/loop

# Skies: the colour below the horizon (v under 0.5) is the colour that everything fades into.
"$texture" gradient --width 4 --height 512 --stop 0:e8b48c --stop 0.502:e8b48c \
    --stop 0.54:d89a86 --stop 0.6:a97c93 --stop 0.7:5f6395 --stop 0.85:2b3a70 \
    --stop 1:172350 textures/sky_dusk
"$texture" gradient --width 4 --height 256 --stop 0:0b0e18 --stop 0.5:1c2740 \
    --stop 0.56:2c3a5e --stop 1:05070d textures/sky_night
"$texture" gradient --width 4 --height 256 --stop 0:cfdde6 --stop 0.5:cfdde6 \
    --stop 0.7:7fa9d4 --stop 1:3b6fb3 textures/sky_day
"$texture" glow --width 128 --height 128 --inner e8b48c00 --outer e8b48c --from 0.3 --to 0.92 \
    textures/haze_dusk
"$texture" gradient --width 4 --height 64 --stop 0:e8b48c --stop 0.25:e8b48c \
    --stop 1:e8b48c00 textures/mist_dusk
"$texture" noise --width 512 --height 512 --low ffd9c000 --high ffe8d8d0 --contrast 2.4 --fade \
    --frequency 5 --seed 3 textures/clouds

# Surfaces.
"$texture" checker --width 256 --height 256 --cells 8 --first 4a3b39 --second d9c7ad \
    --grain 0.35 --seed 2 textures/floor
"$texture" checker --width 128 --height 128 --cells 8 --first 222222 --second eeeeee \
    textures/checker
"$texture" noise --width 256 --height 256 --veins --low 27413f --high d9e6d4 --contrast 1.6 \
    --frequency 3 --seed 8 textures/marble
"$texture" noise --width 256 --height 256 --low 8a3b16 --high e8a55a --contrast 1.8 \
    --frequency 4 --seed 6 textures/rust
"$texture" noise --width 256 --height 128 --low 17456f --high cfc48f --contrast 3.5 \
    --frequency 3 --seed 21 textures/planet
"$texture" noise --width 128 --height 128 --low ffffff00 --high ffffff --contrast 2.5 \
    --octaves 2 --frequency 24 --seed 9 textures/fur
"$texture" noise --width 128 --height 128 --low ffffff00 --high ffffff --contrast 1.6 \
    --octaves 5 --frequency 3 --seed 14 textures/erosion
"$texture" gradient --width 4 --height 128 --stop 0:2d5a36 --stop 0.35:7d8a4b \
    --stop 0.7:8a7660 --stop 1:ffffff textures/height

"$texture" gradient --width 4 --height 64 --stop 0:c9a77800 --stop 0.1:c9a778c0 \
    --stop 0.35:e0c9a0d0 --stop 0.42:8a6a4a20 --stop 0.5:d8b88cb0 --stop 0.9:f0dfc0c0 \
    --stop 1:f0dfc000 textures/rings

# Lights and glass.
"$texture" glow --width 128 --height 128 --inner ffffff --outer 000000 --power 3 textures/glow
"$texture" glow --width 128 --height 128 --inner ffffff --outer ffffff00 --from 0.2 textures/halo
"$texture" glow --width 64 --height 64 --inner 383838 --outer ffffff --from 0.4 textures/shade
"$texture" glow --width 128 --height 128 --inner ffffff --outer ffffff00 --from 0.9 --to 0.98 \
    textures/disc
"$texture" gradient --width 4 --height 64 --stop 0:ffffff90 --stop 0.5:ffffff30 \
    --stop 1:ffffff90 textures/glass
