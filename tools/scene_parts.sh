# Sourced by the scene makers: the parts that their scenes have in common. Writes scene commands.

# sky TIME MESH: an unlit backdrop round everything, seen from inside; TIME (night, day) names the
# object and its texture.
sky() {
    cat <<END

object $1
set mesh meshes/$2
set shadow no
shader new
shader set lit no
shader set faces back
shader set texture textures/sky_$1
set shade base
END
}

# shiny: the pass that the objects which follow start from.
shiny() {
    printf '\nshader new\nshader set shininess 40\n'
}

# camera_path REMARK CENTRE SPEEDS AMPLITUDES PHASES WEIGHTS: each but the remark as x,y,z.
camera_path() {
    printf '\n# %s\n' "$1"
    printf 'set _cam/c point %s\nset _cam/k point %s\nset _cam/p point %s\n' "$2" "$3" "$4"
    printf 'set _cam/o point %s\nset _cam/t point %s\n' "$5" "$6"
}
