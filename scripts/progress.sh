# step TEXT: one heading line with the time since the script began. To be sourced.
step() { printf '\n[%3d:%02d] %s\n' $((SECONDS / 60)) $((SECONDS % 60)) "$*"; }
