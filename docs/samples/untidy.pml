(* What the server needs. *)
server( port(4711)   (* 0 takes a free one *)
  inbox('in box') (* relative *)


  log(infoOn(true)))
