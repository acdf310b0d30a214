# shellcheck shell=sh
# /tmp and /run of the run's own, empty but for the kept folders: fixed paths such as the database's socket, pid files and the
# names of the namespaces then belong to this run alone.

private_files() {
    # A kept folder that the new /tmp or /run would hide waits below /mnt meanwhile. Nothing is written to the machine's disk.
    mount -t tmpfs -o mode=755 lab /mnt
    printf '%s\n' "$LAB_KEEP" | sort -u | grep -E '^/(tmp|run|var/run)/' >/mnt/list || :
    number=0
    while read -r folder; do
        number=$((number + 1))
        mkdir /mnt/$number
        mount --bind "$folder" /mnt/$number
    done </mnt/list

    mount -t tmpfs -o mode=1777 lab /tmp
    mount -t tmpfs -o mode=755 lab /run
    number=0
    while read -r folder; do
        number=$((number + 1))
        mkdir -p "$folder"
        mount --move /mnt/$number "$folder"
    done </mnt/list
    umount /mnt
    mkdir -p /run/lab /run/netns
}
