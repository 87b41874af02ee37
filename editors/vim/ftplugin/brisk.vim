" brisk configuration files: "#" comments, and tabs kept as tabs, since the
" leading tabs of a body's first line are the prefix brisk strips from
" every line of that body.
if exists("b:did_ftplugin")
  finish
endif
let b:did_ftplugin = 1

setlocal commentstring=#\ %s comments=:# noexpandtab formatoptions-=t
let b:undo_ftplugin = "setlocal commentstring< comments< expandtab< formatoptions<"
