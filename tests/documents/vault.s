# The small program that the examples in docs/ are about: a vault that opens for whoever knows the key.
# Made with `as` and `ld`, which put it at the same addresses everywhere. Its command handlers have no symbols, as
# in a program under study.
.intel_syntax noprefix

.section .rodata
usage_text:   .asciz "usage: vault open|list|wipe KEY"
denied_text:  .asciz "access denied"
opened_text:  .asciz "the vault is open"
listed_text:  .asciz "gold, silver, a map"
wiped_text:   .asciz "nothing is left"
log_name:     .asciz "/var/log/vault.log"

.section .text

# int main(int argc, char** argv)
.globl main
.type main, @function
main:
    push rbp
    mov rbp, rsp
    push rbx
    sub rsp, 0x18
    mov rbx, rsi
    cmp edi, 3
    jne .Lusage
    mov rdi, [rbx+0x10]
    call check_key
    test eax, eax
    jz .Ldenied
    mov rax, [rbx+8]
    movzx eax, byte ptr [rax]
    mov [rbp-0x18], eax
    cmp eax, 'o'
    je .Lopen
    cmp eax, 'l'
    je .Llist
    cmp eax, 'w'
    je .Lwipe
.Lusage:
    lea rdi, [rip+usage_text]
    call print_line
    mov eax, 2
    jmp .Lend
.Ldenied:
    lea rdi, [rip+denied_text]
    call print_line
    lea rdi, [rip+denied_text]
    call write_log
    mov eax, 1
    jmp .Lend
.Lopen:
    call .Lhandle_open
    jmp .Lend
.Llist:
    call .Lhandle_list
    jmp .Lend
.Lwipe:
    call .Lhandle_wipe
.Lend:
    add rsp, 0x18
    pop rbx
    pop rbp
    ret
.size main, .-main

.Lhandle_open:
    lea rdi, [rip+opened_text]
    call print_line
    xor eax, eax
    ret

.Lhandle_list:
    lea rdi, [rip+listed_text]
    call print_line
    xor eax, eax
    ret

.Lhandle_wipe:
    push rbx
    lea rbx, [rip+wiped_text]
    mov rdi, rbx
    call print_line
    mov rdi, rbx
    call write_log
    xor eax, eax
    pop rbx
    ret

# int check_key(const char* key)
.globl check_key
.type check_key, @function
check_key:
    call hash_text
    cmp eax, 0x5f3a91c2
    sete al
    movzx eax, al
    ret
.size check_key, .-check_key

# unsigned hash_text(const char* text)
.globl hash_text
.type hash_text, @function
hash_text:
    mov eax, 0x1505
.Lnext:
    movzx ecx, byte ptr [rdi]
    test ecx, ecx
    jz .Ldone
    imul eax, eax, 33
    add eax, ecx
    inc rdi
    jmp .Lnext
.Ldone:
    ret
.size hash_text, .-hash_text

# void print_line(const char* text)
.globl print_line
.type print_line, @function
print_line:
    mov esi, 1
    jmp write_text
.size print_line, .-print_line

# void write_log(const char* text)
.globl write_log
.type write_log, @function
write_log:
    push rbx
    mov rbx, rdi
    lea rdi, [rip+log_name]
    mov esi, 0x401
    mov eax, 2
    syscall
    mov esi, eax
    mov rdi, rbx
    call write_text
    pop rbx
    ret
.size write_log, .-write_log

# void write_text(const char* text, int file)
.globl write_text
.type write_text, @function
write_text:
    mov rdx, rdi
.Lmeasure:
    cmp byte ptr [rdx], 0
    je .Lmeasured
    inc rdx
    jmp .Lmeasure
.Lmeasured:
    sub rdx, rdi
    xchg rdi, rsi
    mov eax, 1
    syscall
    ret
.size write_text, .-write_text

.globl _start
.type _start, @function
_start:
    xor ebp, ebp
    mov edi, [rsp]
    lea rsi, [rsp+8]
    call main
    mov edi, eax
    mov eax, 60
    syscall
.size _start, .-_start
