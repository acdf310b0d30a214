# shellcheck shell=sh
# /tmp, /run and /dev of the run's own, empty but for the kept folders and the usual devices: fixed paths such as the
# database's socket, the log's, pid files and the names of the namespaces then belong to this run alone.

private_files() {
    # What the new mounts would hide waits below /mnt meanwhile. Nothing is written to the machine's disk.
    mount -t tmpfs -o mode=755 lab /mnt
    printf '%s\n' "$LAB_KEEP" | sort -u | grep -E '^/(tmp|run|var/run)/' >/mnt/list || :
    number=0
    while read -r folder; do
        number=$((number + 1))
        mkdir /mnt/$number
        mount --rbind "$folder" /mnt/$number # with what is mounted below
    done </mnt/list
    private_devices /mnt/dev

    mount -t tmpfs -o mode=1777 lab /tmp
    mount -t tmpfs -o mode=755 lab /run
    number=0
    while read -r folder; do
        number=$((number + 1))
        mkdir -p "$folder"
        mount --move /mnt/$number "$folder"
    done </mnt/list
    mount --move /mnt/dev /dev
    umount /mnt
    mkdir -p /run/lab /run/netns
}

# $1: where to put them. Without /dev/log: whoever wants the run's log makes it.
private_devices() {
    mkdir "$1"
    mount -t tmpfs -o mode=755 lab "$1"
    mkdir "$1/net" "$1/pts" "$1/shm"
    modprobe -q ppp_generic 2>/dev/null || :
    for device in null zero full random urandom kmsg tty ppp net/tun; do
        if [ -c "/dev/$device" ]; then
            touch "$1/$device"
            mount --bind "/dev/$device" "$1/$device"
        fi
    done
    # Terminals of its own: the kernel looks for a new one's folder beside the ptmx that was opened.
    mount -t devpts -o newinstance,ptmxmode=666,mode=620 lab "$1/pts"
    ln -s pts/ptmx "$1/ptmx"
    mount -t tmpfs -o mode=1777 lab "$1/shm"
    ln -s /proc/self/fd "$1/fd"
    ln -s fd/0 "$1/stdin"
    ln -s fd/1 "$1/stdout"
    ln -s fd/2 "$1/stderr"
}
