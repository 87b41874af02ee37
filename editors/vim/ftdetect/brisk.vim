" brisk configuration files:
"   *.brisk and brisk.conf;
"   another *.conf when a brisk.conf sits in its directory or up to two
"   directories above it (toolchain.conf next to brisk.conf), or when one of
"   its first 50 lines opens a block only brisk has (template, emit,
"   postprocess, function NAME, for VAR in LIST) or is a build statement.
" Anything else can say so itself with a modeline: # vim: ft=brisk
au BufNewFile,BufRead *.brisk,brisk.conf	setfiletype brisk
au BufNewFile,BufRead *.conf			call s:BriskDetectConf()

function! s:BriskDetectConf() abort
  if did_filetype()
    return
  endif
  let dir = expand('<afile>:p:h')
  for i in range(3)
    if filereadable(dir . '/brisk.conf')
      setfiletype brisk
      return
    endif
    let dir = fnamemodify(dir, ':h')
  endfor
  let blocks = '^\s*\%(\%(template\|emit\|postprocess\)\>.*{\s*$'
	\ . '\|function\s\+\S\+\s*{\s*$'
	\ . '\|for\s\+\S\+\s\+in\s\+\S\+.*{\s*$'
	\ . '\|\%(\%(dynamic\|fake\|intermediate\)\s\+\)*build\s\+\S\+\)'
  for line in getline(1, 50)
    if line =~# blocks
      setfiletype brisk
      return
    endif
  endfor
endfunction
