" Pages and macro files of quillet: HTML, style sheets and scripts with calls in them.
"
" The brackets of a call are matched as the program matches them: "^" protects the next character, but no backtick; what
" is between backticks does not count; brackets in a parameter are balanced; the name is everything up to the first "[".
if exists('b:current_syntax')
  finish
endif
runtime! syntax/html.vim
unlet! b:current_syntax

syntax case match
syntax sync fromstart
syntax spell toplevel

" A line that begins with "@" begins a macro, whatever is open.
syntax region quilletPage start=/\%^/ end=/^@/me=s-1 keepend contains=TOP,quilletPage
syntax region quilletMacro matchgroup=quilletHeader start=/^@.*$/ end=/^@/me=s-1 keepend contains=TOP,quilletPage,quilletReference,quilletMacro

" In a page, whatever HTML it is in; in style sheets and scripts, whose groups ALLBUT does not mean, too.
for s:place in ['ALLBUT,@quillet', 'javaScript.*,css.*']
  execute 'syntax match quilletComment /^#.*$/ containedin=' . s:place
  execute 'syntax match quilletEscape /\^[\^;]/ containedin=' . s:place
  execute 'syntax match quilletCaret /\^\ze\%([\^;]\)\@!\_[^[]*\[/ skipnl'
        \ . ' nextgroup=quilletControl,quilletOperator,quilletRem,quilletName containedin=' . s:place
endfor
for s:place in ['ALLBUT,quilletPage,@quilletNoReference', 'javaScript.*,css.*']
  execute 'syntax match quilletReference contained /\$\%(\d\d\=\|\h\w*\|\$\)/ containedin=' . s:place
endfor

" Names, after the caret. An operator's name is the whole name; of rules that match, the last one counts.
syntax match quilletName contained /\_[^[]*\ze\[/ nextgroup=quilletList
syntax match quilletInnerName contained /\%([^\^;[`]\|`\_[^`]*`\)\%(\_[^][;^`]\|\^\_[^[`]\|`\_[^`]*`\)*\ze\[/ nextgroup=quilletList
runtime! syntax/quillet_operators.vim
syntax match quilletRem contained /rem\ze\[/ nextgroup=quilletRemark

" Parameters. None of the rules for HTML in them goes beyond the parameter, whatever the HTML leaves open.
" In a list: what may follow a caret until the name's "[", without leaving the parameter.
syntax match quilletProtected contained /\^[][]/
syntax match quilletInnerCaret contained /\^\ze\%([^\^;[`]\|`\_[^`]*`\)\%(\_[^][;^`]\|\^\_[^[`]\|`\_[^`]*`\)*\[/ nextgroup=quilletControl,quilletOperator,quilletRem,quilletInnerName skipnl
" The "]" that the caret protects would end the list between caret and name.
syntax match quilletInnerCaret contained /\^]\%(\_[^][;^`]\|\^\_[^[`]\|`\_[^`]*`\)*\ze\[/ nextgroup=quilletList
syntax match quilletSeparator contained /;/
syntax region quilletList contained matchgroup=quilletBracket start=/\[/ end=/]/ contains=@quilletCode,quilletSeparator,@quilletMarkup
syntax region quilletBrackets contained matchgroup=quilletBalanced start=/\[/ end=/]/ contains=@quilletCode,@quilletMarkup
syntax region quilletTag contained start=/<\/\=\a[[:alnum:]:-]*/ end=/>/ end=/\ze[];]/ contains=@quilletCode,quilletTagName,quilletAttribute,quilletString
syntax region quilletMarkupComment contained start=/<!--/ end=/-->/ end=/\ze[];]/ contains=@quilletCode
syntax region quilletString contained start=/"/ end=/"/ end=/\ze[];]/ contains=@quilletCode
syntax region quilletString contained start=/'/ end=/'/ end=/\ze[];]/ contains=@quilletCode

" Between backticks the text of a parameter is read as on its own; a backtick ends whatever is open.
syntax region quilletTicked contained matchgroup=quilletTick start=/`/ end=/`/ keepend contains=quilletComment,quilletEscape,quilletCaret,quilletTickedTag,quilletTickedEntity
syntax region quilletTickedTag contained start=/<\/\=\a[[:alnum:]:-]*/ end=/>/ contains=quilletEscape,quilletCaret,quilletTagName,quilletAttribute,quilletTickedString
syntax region quilletTickedString contained start=/"/ end=/"/ contains=quilletEscape,quilletCaret

syntax match quilletTagName contained /<\/\=\zs\a[[:alnum:]:-]*/
syntax match quilletAttribute contained /\a[[:alnum:]:-]*\ze\s*=/
syntax match quilletEntity contained /&\%(\a\w*\|#\x\+\)\^;/
syntax match quilletTickedEntity contained /&\%(\a\w*\|#\x\+\);/

" The parameters of `rem`, which nobody reads.
syntax region quilletRemark contained matchgroup=quilletBracket start=/\[/ end=/]/ contains=@quilletRemarks
syntax region quilletRemarkBrackets contained start=/\[/ end=/]/ contains=@quilletRemarks
syntax region quilletRemarkTicked contained start=/`/ end=/`/
syntax match quilletRemarkProtected contained /\^[^`]/
syntax cluster quilletRemarks contains=quilletRemarkBrackets,quilletRemarkTicked,quilletRemarkProtected,quilletComment

syntax cluster quilletCode contains=quilletComment,quilletEscape,quilletInnerCaret,quilletProtected,quilletBrackets,quilletTicked
syntax cluster quilletMarkup contains=quilletTag,quilletMarkupComment,quilletEntity
syntax cluster quillet contains=@quilletCode,@quilletMarkup,@quilletRemarks,quilletRemark,quilletCaret,quilletName,quilletInnerName,quilletControl,quilletOperator,quilletRem,quilletList,quilletSeparator,quilletString,quilletTagName,quilletAttribute,quilletReference,quilletTickedTag,quilletTickedString,quilletTickedEntity
syntax cluster quilletNoReference contains=quilletComment,quilletEscape,quilletCaret,quilletInnerCaret,quilletName,quilletInnerName,quilletReference,@quilletRemarks

highlight default link quilletHeader Define
highlight default link quilletComment Comment
highlight default link quilletRemark Comment
highlight default link quilletRemarkBrackets Comment
highlight default link quilletRemarkTicked Comment
highlight default link quilletRemarkProtected Comment
highlight default link quilletEscape SpecialChar
highlight default link quilletProtected SpecialChar
highlight default link quilletCaret PreProc
highlight default link quilletInnerCaret PreProc
highlight default link quilletControl Conditional
highlight default link quilletOperator Function
highlight default link quilletRem Comment
highlight default link quilletName Identifier
highlight default link quilletInnerName Identifier
highlight default link quilletBracket PreProc
highlight default link quilletSeparator Delimiter
highlight default link quilletTick Delimiter
highlight default link quilletReference Identifier
highlight default link quilletTag htmlTag
highlight default link quilletTickedTag htmlTag
highlight default link quilletTagName htmlTagName
highlight default link quilletAttribute htmlArg
highlight default link quilletString String
highlight default link quilletTickedString String
highlight default link quilletEntity SpecialChar
highlight default link quilletTickedEntity SpecialChar
highlight default link quilletMarkupComment Comment

let b:current_syntax = 'quillet'
