" Vim syntax file
" Language:	brisk configuration (Makefile fragment generator)
" Filenames:	*.brisk, brisk.conf (see ftdetect/brisk.vim)
"
" Statement lines: keywords, -options, operators, $(...) references with
" [subscripts] and :modifiers, quotes and # comments.  Bodies between a
" block's "{" and its closing "}" (found at the opener's indentation):
"   emit          free text copied to a section
"   template      target lines "%.o : %.c" and indented command lines
"   function, postprocess, for
"                 statements kept and read again later
" On the right of an assignment at the start of a line every word is plain
" text, as brisk reads it: keywords and operators are not marked there.

if exists("b:current_syntax")
  finish
endif

let s:cpo_save = &cpo
set cpo&vim

syn case match
" Words run up to a blank, so "-strip", ".DUMPVARS", "CFLAGS/when" and
" "install-rule" are single words.
syn iskeyword @,48-57,_,-,.,/,192-255
" Bodies are regions that can span the whole file.
syn sync fromstart

" The keyword table.
syn keyword briskConditional	when else
syn keyword briskRepeat		for
syn keyword briskInclude	include import
syn keyword briskKeyword	.DUMPVARS build by call current dynamic echo
syn keyword briskKeyword	emit error exists exit fake function in
syn keyword briskKeyword	intermediate is new not postprocess scope set
syn keyword briskKeyword	template to unset uses with
syn keyword briskKeyword	global nextgroup=briskVariable skipwhite
" Arguments of emit, template, function and postprocess.
syn keyword briskOption		-expand -now -output -pretty -strip -tag

" Names the program defines or reads itself (inside references and as the
" name assigned to).
syn keyword briskBuiltin contained .ARGC .ARGV .CFFILE .CURRENT_SCOPE
syn keyword briskBuiltin contained .DEBUGFLAGS .DELIMITER .DEPFILES .EMIT
syn keyword briskBuiltin contained .FALSE .FILE .HOSTNAME .LINE .MACHINE
syn keyword briskBuiltin contained .MATCH .NODENAME .PWD .SEPARATOR .SOURCE
syn keyword briskBuiltin contained .SRCPATH .SYSNAME .SYSRELEASE .SYSVERSION
syn keyword briskBuiltin contained .TIME .TRUE .USER BRISK_DIR BRISK_PATH
syn keyword briskBuiltin contained TERN_BASE TERN_HOME TERN_TOOLS OBJS IOBJS

" Operators, tried in the lexer's order, and the single-character tokens.
syn match briskOperator		/&&\|||\|==\|=+\|!=\|?=\|+=\|-=\|\~=\|=\|!/
syn match briskDelimiter	/[():]/

syn match briskEscape		/\\./
syn match briskContinuation	/\\$/
syn region briskDString	start=/"/ skip=/\\./ end=/"/ oneline contains=briskReference,briskEscape
" Nothing is processed between single quotes, and the quotes stay.
syn region briskSString	start=/'/ end=/'/ oneline

syn keyword briskTodo contained TODO FIXME XXX NOTE
syn match briskComment		/#.*$/ contains=briskTodo

" References: $(name), $(name[N]), $(name[key]), $(name:modifier),
" $(*:~regex), $(:glob pattern); names may hold references and parentheses.
syn region briskReference matchgroup=briskRefDelim start=/\$(/ end=/)/ oneline contains=briskReference,briskRefNest,briskSubscript,briskModifier,briskBuiltin
syn region briskRefNest	start=/(/ end=/)/ oneline contained transparent contains=briskReference,briskRefNest
syn match briskSubscript	/\[[^]]*\]/ contained contains=briskReference
syn region briskModifier	start=/:/ end=/)\@=/ oneline contained contains=briskReference,briskRefNest

" Assignments at the start of a line ("global" allowed): the name, the
" operator, then the value, where keywords and operators mean nothing.
syn match briskVariable /^\s*\zs\%(\$([^()]*)\|[^ \t()=:!&|?+~"'#-]\|[?+~-]=\@!\|&&\@!\|||\@!\)\+\s*\%(=+\|+=\|-=\|?=\|=\)/ contains=briskOperator,briskReference,briskBuiltin nextgroup=briskValue skipwhite
syn match briskVariable /\%(\$([^()]*)\|[^ \t()=:!&|?+~"'#-]\|[?+~-]=\@!\|&&\@!\|||\@!\)\+\s*\%(=+\|+=\|-=\|?=\|=\)/ contained contains=briskOperator,briskReference,briskBuiltin nextgroup=briskValue skipwhite
syn match briskValue /.*$/ contained contains=briskReference,briskDString,briskSString,briskEscape,briskContinuation,briskComment

" A "{" that ends a line opens a block; a lone "}" closes one.
syn match briskBrace		/{\ze\s*$/
syn match briskBrace		/^\s*}\ze\s*$/

" Items of the bodies.
syn match briskMakeVar	contained /\$[@<^?*+%|$]/
" A first body line "|Column0" fixes the body's prefix to its tabs.
syn match briskPrefixMarker	/\%(^\t\+\)\@<=\%x7cColumn0\>/
syn match briskStem		contained /%/
" Template target lines: one word, a colon, at most one word.
syn match briskTemplateCommand	contained /^\s\+\S.*$/ contains=briskReference,briskMakeVar,briskEscape
syn match briskTemplateTarget	contained /^\s*[^ \t:]\+\s*:\s*[^ \t]*\s*$/ contains=briskStem,briskReference

" Bodies end at a "}" with the indentation of the line that opened them.
" (The opener is looked for behind the "{": a keyword at the start of the
" line would hide a start pattern anchored there.)
syn region briskEmitBody matchgroup=briskBrace start=/\%(^\z(\s*\)emit\>.*\)\@<={\ze\s*$/ end=/^\z1}\ze\s*$/ contains=briskReference,briskMakeVar,briskPrefixMarker
syn region briskTemplateBody matchgroup=briskBrace start=/\%(^\z(\s*\)template\>.*\)\@<={\ze\s*$/ end=/^\z1}\ze\s*$/ contains=briskTemplateTarget,briskTemplateCommand,briskPrefixMarker
syn region briskFunctionBody matchgroup=briskBrace start=/\%(^\z(\s*\)function\>.*\)\@<={\ze\s*$/ end=/^\z1}\ze\s*$/ contains=TOP
syn region briskPostprocessBody matchgroup=briskBrace start=/\%(^\z(\s*\)postprocess\>.*\)\@<={\ze\s*$/ end=/^\z1}\ze\s*$/ contains=TOP
syn region briskForBody matchgroup=briskBrace start=/\%(^\z(\s*\)for\>.*\)\@<={\ze\s*$/ end=/^\z1}\ze\s*$/ contains=TOP

hi def link briskConditional	Conditional
hi def link briskRepeat		Repeat
hi def link briskInclude	Include
hi def link briskKeyword	Statement
hi def link briskOption		Special
hi def link briskBuiltin	Constant
hi def link briskOperator	Operator
hi def link briskDelimiter	Delimiter
hi def link briskEscape		SpecialChar
hi def link briskContinuation	Special
hi def link briskDString	String
hi def link briskSString	String
hi def link briskTodo		Todo
hi def link briskComment	Comment
hi def link briskReference	Identifier
hi def link briskRefDelim	PreProc
hi def link briskSubscript	Number
hi def link briskModifier	Function
hi def link briskVariable	Identifier
hi def link briskValue		Normal
hi def link briskBrace		Delimiter
hi def link briskMakeVar	Special
hi def link briskPrefixMarker	PreProc
hi def link briskStem		Special
hi def link briskTemplateCommand	String
hi def link briskTemplateTarget	Type
hi def link briskEmitBody	String
hi def link briskTemplateBody	Normal
hi def link briskFunctionBody	Normal
hi def link briskPostprocessBody	Normal
hi def link briskForBody	Normal

let b:current_syntax = "brisk"

let &cpo = s:cpo_save
unlet s:cpo_save
