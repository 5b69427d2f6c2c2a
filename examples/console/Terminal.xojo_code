#tag Module
Protected Module Terminal
	#tag Method, Flags = &h1
		Protected Sub Publish()
		  Var terminal As New PythonXojoModule("terminal", 1)
		  terminal.RegisterFunction("read_line", AddressOf ReadLine)
		  Quillix.RegisterXojoModule(terminal)
		End Sub
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function ReadLine(unused As Ptr, arguments As Ptr) As Ptr
		  #Pragma X86CallingConvention CDecl
		  ' read_line(prompt): the next line of the user, or None at the end.
		  Try
		    Var values As New PythonParameters(arguments)
		    StdOut.Write(values.StringValue(0))
		    If StdIn.EndOfFile Then
		      Var nothing As New PythonResult
		      Return nothing.GetPtr
		    End If
		    Var line As New PythonResult(StdIn.ReadLine)
		    Return line.GetPtr
		  Catch error As RuntimeException
		    Quillix.SetError(PythonErrorTypes.RuntimeError, error.Message)
		    Return Nil
		  End Try
		End Function
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Module
#tag EndModule
