x $ y
`
a \ b
€
