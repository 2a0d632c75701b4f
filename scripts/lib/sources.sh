# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154
# Sourced after environment.sh: sources and headers of Debian packages, for what has to be built for
# Windows.

# Fetches the source of a Debian package into build/sources/PACKAGE. The machine's own package lists
# are copied and stay as they are: few machines have source packages in them.
fetch_source() {
  local package=$1 target="$root/build/sources/$1" work="$root/build/sources/.fetch"
  [[ ! -e $target ]] || return 0
  need_packages dpkg-dev
  say "Fetching the source of $package"
  local codename
  codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/unpacked"
  list_sources "$codename" >"$work/sources.list"
  if [[ ! -s $work/sources.list ]]; then
    as_root apt-get -q update
    list_sources "$codename" >"$work/sources.list"
  fi
  local apt=(apt-get -q -o "Dir::Etc::sourcelist=$work/sources.list" -o Dir::Etc::sourceparts=-
    -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache" -o APT::Sandbox::User=root)
  "${apt[@]}" update
  (cd "$work/unpacked" && "${apt[@]}" source "$package")
  mv "$work/unpacked/$package"-*/ "$target"
  rm -rf "$work/unpacked"
}

# Puts what an installed Debian package has in /usr/include into build/sources/FOLDER, for headers
# that suit any system: the folder that they come from is no place to look for Windows' own.
link_headers() {
  local folder="$root/build/sources/$1" header
  shift
  mkdir -p "$folder"
  for header in "$@"; do
    ln -sfn "/usr/include/$header" "$folder/$header"
  done
}

list_sources() {
  apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Created-By: Packages' "Codename: $1" 'Component: main' | sort -u
}
