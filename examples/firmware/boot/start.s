/* A tag the start-up code leaves in the image; plain data, so the same
   file assembles for every target. */
	.section .rodata
	.globl	boot_tag
boot_tag:
	.asciz	"boot ok"
	/* No executable stack wanted. */
	.section .note.GNU-stack,"",%progbits
