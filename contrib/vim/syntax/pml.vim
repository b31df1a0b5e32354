" Vim syntax file for PML, the text form of configuration and trees; see docs/formats/pml.md.
if exists('b:current_syntax')
  finish
endif

" Later items win where two begin at one place.
syntax match pmlPunctuation ")"
syntax match pmlPunctuation "(" nextgroup=pmlNumber,pmlBoolean skipwhite
syntax match pmlPunctuation ":" nextgroup=pmlType skipwhite

" A token is a name where a ':' or '(' ends it, and a type behind the ':'. "(*" ends none.
syntax match pmlName "[^():^'" \t\r\n][^():^'"\r\n]\{-}\ze\s*\%(:\|(\*\@!\)"
syntax match pmlType "[^():^'" \t\r\n][^():^'"\r\n]\{-}\ze\s*(\*\@!" contained

" A number or a truth value is all there is in the parentheses.
syntax match pmlNumber "[-+]\?\d\+\%(\.\d\+\)\?\ze\s*)" contained
syntax match pmlBoolean "\%(true\|false\)\ze\s*)" contained

syntax match pmlEscape "\^\_."
syntax region pmlString start=+"+ skip=+\^\_.+ end=+"+ contains=pmlEscape
syntax region pmlString start=+'+ skip=+\^\_.+ end=+'+ contains=pmlEscape

" Comments nest; quotes and '^' mean nothing in them.
syntax region pmlComment start="(\*" end="\*)" contains=pmlComment,pmlTodo
syntax keyword pmlTodo TODO FIXME XXX contained

" Strings and comments may be long.
syntax sync minlines=200

highlight default link pmlPunctuation Delimiter
highlight default link pmlName Identifier
highlight default link pmlType Type
highlight default link pmlNumber Number
highlight default link pmlBoolean Boolean
highlight default link pmlEscape SpecialChar
highlight default link pmlString String
highlight default link pmlComment Comment
highlight default link pmlTodo Todo

let b:current_syntax = 'pml'
